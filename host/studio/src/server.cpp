// The studio's HTTP server: the built page as static files, the JSON API under
// /api. Every answer to a refused request is {"error": message} with a status
// that says whose mistake it was; nothing a page sends stops the server.
#include "tessivo/studio/studio.h"

#include <httplib.h>
#include <unistd.h>

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <exception>

namespace tessivo::studio {

namespace fs = std::filesystem;
using nlohmann::json;

struct Server::Impl {
  Studio& studio;
  fs::path webRoot;
  httplib::Server http;

  void routes();
};

namespace {

void sendJson(httplib::Response& response, const json& body, int status = 200) {
  response.status = status;
  response.set_header("Cache-Control", "no-store");
  response.set_content(body.dump(), "application/json");
}

void sendError(httplib::Response& response, int status, const std::string& message) {
  sendJson(response, {{"error", message}}, status);
}

json parseBody(const httplib::Request& request) {
  if (request.body.empty()) return json::object();
  try {
    return json::parse(request.body);
  } catch (const json::parse_error& error) {
    throw StudioError(400, fmt::format("the request is not valid JSON: {}", error.what()));
  }
}

// Runs an API handler, turning every failure into a JSON error.
template <typename Handler>
httplib::Server::Handler api(Handler handler) {
  return [handler](const httplib::Request& request, httplib::Response& response) {
    try {
      handler(request, response);
    } catch (const StudioError& error) {
      sendError(response, error.status(), error.what());
    } catch (const std::exception& error) {
      sendError(response, 500, error.what());
    }
  };
}

double numberParam(const httplib::Request& request, const char* name, double fallback) {
  if (!request.has_param(name)) return fallback;
  const std::string text = request.get_param_value(name);
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size())
    throw StudioError(400, fmt::format("\"{}\" must be a number, not \"{}\"", name, text));
  return value;
}

uint32_t sizeParam(const httplib::Request& request, const char* name, uint32_t fallback) {
  const double value = numberParam(request, name, fallback);
  if (!(value >= 1 && value <= kMaxPreviewSide) || value != static_cast<double>(static_cast<uint32_t>(value)))
    throw StudioError(400, fmt::format("\"{}\" must be a whole number from 1 to {}", name, kMaxPreviewSide));
  return static_cast<uint32_t>(value);
}

}  // namespace

void Server::Impl::routes() {
  Studio& s = studio;
  http.Get("/api/palette", api([&s](const httplib::Request&, httplib::Response& res) { sendJson(res, s.palette()); }));
  http.Get("/api/pictures", api([&s](const httplib::Request&, httplib::Response& res) { sendJson(res, s.pictures()); }));
  http.Get("/api/state", api([&s](const httplib::Request&, httplib::Response& res) { sendJson(res, s.state()); }));
  http.Post("/api/nodes", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.addNode(parseBody(req)));
  }));
  http.Post(R"(/api/nodes/([^/]+))", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.updateNode(req.matches[1], parseBody(req)));
  }));
  http.Delete(R"(/api/nodes/([^/]+))", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.removeNode(req.matches[1]));
  }));
  http.Post("/api/wires", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.connect(parseBody(req)));
  }));
  http.Post("/api/wires/remove", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.disconnect(parseBody(req)));
  }));
  http.Post(R"(/api/output/([^/]+))", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.setOutput(req.matches[1]));
  }));
  http.Get(R"(/api/nodes/([^/]+)/panel)", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.panel(req.matches[1]));
  }));
  http.Post(R"(/api/nodes/([^/]+)/panel)", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.answerPanel(req.matches[1], parseBody(req)));
  }));
  http.Post("/api/new", api([&s](const httplib::Request&, httplib::Response& res) { sendJson(res, s.newPatch()); }));
  http.Post("/api/load", api([&s](const httplib::Request& req, httplib::Response& res) {
    const json body = parseBody(req);
    if (!body.is_object() || !body.contains("path") || !body["path"].is_string())
      throw StudioError(400, "the request has no \"path\"");
    sendJson(res, s.load(body["path"].get<std::string>()));
  }));
  http.Post("/api/save", api([&s](const httplib::Request& req, httplib::Response& res) {
    const json body = parseBody(req);
    if (!body.is_object()) throw StudioError(400, "the request must be a JSON object");
    std::string path;
    if (body.contains("path")) {
      if (!body["path"].is_string()) throw StudioError(400, "\"path\" must be a string");
      path = body["path"].get<std::string>();
    }
    sendJson(res, s.save(path));
  }));
  http.Post("/api/patch", api([&s](const httplib::Request& req, httplib::Response& res) {
    sendJson(res, s.replace(parseBody(req), "patch"));
  }));
  http.Get(R"(/api/preview/([^/]+))", api([&s](const httplib::Request& req, httplib::Response& res) {
    const double time = numberParam(req, "t", 0.0);
    const uint32_t width = sizeParam(req, "w", 640), height = sizeParam(req, "h", 360);
    const std::string format = req.has_param("format") ? req.get_param_value("format") : "jpeg";
    if (format != "png" && format != "jpeg") throw StudioError(400, "\"format\" must be png or jpeg");
    EncodedFrame frame = s.preview(req.matches[1], time, width, height,
                                   format == "png" ? FrameFormat::Png : FrameFormat::Jpeg);
    res.set_header("Cache-Control", "no-store");
    res.set_content(std::move(frame.bytes), frame.mimeType);
  }));
  http.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr error) {
    std::string message = "internal error";
    try {
      if (error) std::rethrow_exception(error);
    } catch (const std::exception& e) {
      message = e.what();
    } catch (...) {
    }
    sendError(res, 500, message);
  });
  if (!webRoot.empty()) http.set_mount_point("/", webRoot.string());
  http.set_payload_max_length(16u << 20);
}

Server::Server(Studio& studio, fs::path webRoot) : impl_(new Impl{studio, std::move(webRoot), {}}) { impl_->routes(); }

Server::~Server() = default;

int Server::bind(const std::string& address, int port) {
  if (port == 0) {
    const int bound = impl_->http.bind_to_any_port(address);
    if (bound <= 0) throw StudioError(500, fmt::format("cannot listen on {}", address));
    return bound;
  }
  if (!impl_->http.bind_to_port(address, port))
    throw StudioError(500, fmt::format("cannot listen on {}:{} (in use?)", address, port));
  return port;
}

void Server::run() { impl_->http.listen_after_bind(); }

void Server::stop() { impl_->http.stop(); }

fs::path defaultWebRoot() {
  if (const char* env = std::getenv("TESSIVO_STUDIO_WEB"); env != nullptr && *env != '\0') return env;
  std::array<char, 4096> buffer{};
  const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
  if (length <= 0) return {};
  const fs::path exe(std::string(buffer.data(), static_cast<size_t>(length)));
  const fs::path root = exe.parent_path().parent_path() / "share" / "tessivo" / "studio";
  std::error_code error;
  return fs::exists(root / "index.html", error) ? root : fs::path();
}

}  // namespace tessivo::studio
