// The studio's document and what its page may do to it: a patch edited node by
// node and wire by wire, kept built into a live host graph so every change is
// checked by the host as it is made, module panels answered from the page, and
// preview frames of any node rendered by the host.
#pragma once

#include <tessivo/host/bundle.h>
#include <tessivo/host/graph.h>
#include <tessivo/host/patch.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace tessivo::studio {

// A request the studio refuses; status is the HTTP status the server answers with
// (400 malformed request, 404 unknown node, 422 refused by the host, 500 render failure).
class StudioError : public std::runtime_error {
 public:
  StudioError(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// An encoded preview frame.
struct EncodedFrame {
  std::string mimeType;  // "image/png" or "image/jpeg"
  std::string bytes;
};

enum class FrameFormat { Png, Jpeg };

// Largest preview side the page may ask for.
inline constexpr uint32_t kMaxPreviewSide = 4096;

class Studio {
 public:
  // The bundle must outlive the studio. workFolder resolves relative paths
  // (stills of a patch not yet saved, and patch files named by the page).
  Studio(host::Bundle& bundle, std::filesystem::path workFolder);
  ~Studio();
  Studio(const Studio&) = delete;
  Studio& operator=(const Studio&) = delete;

  // The palette: every module this build offers (listed ones first, then codes
  // that build though the registry does not list them), with box sizes, ports
  // and whether it has a settings panel; and the source kinds.
  nlohmann::json palette() const;

  // The document: {"patch": <patch file JSON>, "file": path or "", "dirty": bool,
  // "ports": {node id: {wire port text: input index}}}.
  nlohmann::json state() const;

  // Edits; each returns state() and refuses (StudioError) what the host refuses,
  // leaving the document unchanged.
  //   addNode {"kind": "module"|"test-scene"|"still"|"control"|"on-off",
  //            "module": "fadr", "path": "...", "value": "0.5", "on": true, "position": [x, y]}
  //   updateNode id {"value"?, "on"?, "path"?, "position"?}
  //   connect {"from": id, "to": id, "port": index or name}
  //   disconnect {"to": id, "port": index or name}
  nlohmann::json addNode(const nlohmann::json& request);
  nlohmann::json updateNode(const std::string& id, const nlohmann::json& request);
  nlohmann::json removeNode(const std::string& id);
  nlohmann::json connect(const nlohmann::json& request);
  nlohmann::json disconnect(const nlohmann::json& request);
  nlohmann::json setOutput(const std::string& id);

  // A module node's panel as the module builds it (run against a capturing
  // panel, so nothing changes): {"dialog": {...}, "controls": [...]}.
  nlohmann::json panel(const std::string& id);
  // Plays the page's answer into the module's panel: {"values": [{"index": i,
  // "value": text}], "hit": item}. OK that the module accepts stores its
  // settings in the node: {"accepted": true, "state": ...}. Cancel:
  // {"accepted": false}. Any other button, or OK the module does not take:
  // {"accepted": false, "panel": the panel as it then stood, "message": ...}.
  nlohmann::json answerPanel(const std::string& id, const nlohmann::json& request);

  // The pictures a still could show: still images in the folder stills are read
  // from (the patch's, else the work folder), by name, sorted; at most 500.
  nlohmann::json pictures() const;

  // Files. Paths are relative to the work folder unless absolute.
  nlohmann::json newPatch();
  nlohmann::json load(const std::string& path);
  nlohmann::json save(const std::string& path);  // empty: the file last loaded or saved
  // Names the file the empty document will be saved to, without writing it
  // (`tessivo studio new.json`). Refused when its folder does not exist.
  nlohmann::json nameFile(const std::string& path);
  // Replaces the document by a patch given as JSON (as a file holds it).
  nlohmann::json replace(const nlohmann::json& patch, const std::string& source);

  // A node's picture at time t, rendered by the host at width x height.
  EncodedFrame preview(const std::string& id, double time, uint32_t width, uint32_t height, FrameFormat format);

  bool dirty() const;
  // When there are unsaved changes, writes them beside the patch file (or in
  // the work folder) as NAME.unsaved.json, never over an existing file, and
  // returns that path; empty when nothing needed keeping. The document itself
  // stays as it was.
  std::filesystem::path keepUnsaved() const;

 private:
  struct Built;
  // Builds candidate into a fresh graph; on success it becomes the document.
  void commit(host::Patch candidate, bool markDirty, const std::string& source = "patch");
  nlohmann::json stateLocked() const;
  // Writes the patch to file with its stills' paths made relative to it; returns what was written.
  host::Patch writeLocked(const std::filesystem::path& file) const;
  std::filesystem::path folder() const;  // where the patch's relative stills are
  std::filesystem::path resolve(const std::string& path) const;

  host::Bundle& bundle_;
  std::filesystem::path workFolder_;
  mutable std::mutex mutex_;
  host::Patch patch_;
  std::unique_ptr<Built> built_;
  std::filesystem::path file_;
  bool dirty_ = false;
  nlohmann::json palette_;
};

// PNG or JPEG of a host image (ARGB or grey), in memory. PNG keeps alpha;
// JPEG drops it.
EncodedFrame encodeFrame(const host::Image& image, FrameFormat format);

// The HTTP side: the page's files from webRoot and the JSON API under /api.
class Server {
 public:
  Server(Studio& studio, std::filesystem::path webRoot);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  // Binds address:port (port 0: a free one) and returns the port; throws StudioError when it cannot.
  int bind(const std::string& address, int port);
  // Serves until stop() (from another thread).
  void run();
  void stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// The built page: $TESSIVO_STUDIO_WEB, else <exe dir>/../share/tessivo/studio
// (install and build tree alike). Empty when none holds an index.html.
std::filesystem::path defaultWebRoot();

}  // namespace tessivo::studio
