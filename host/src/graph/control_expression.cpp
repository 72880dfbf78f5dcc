#include "tessivo/host/control_expression.h"

#include "tessivo/host/error.h"

#include <fmt/format.h>
#include <muParser.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace tessivo::host {
namespace {

// 0 before start, rising linearly to 1 at end, 1 after.
double ramp(double t, double start, double end) {
  if (!(end > start)) return t >= start ? 1.0 : 0.0;
  return std::clamp((t - start) / (end - start), 0.0, 1.0);
}

// Steps of `every` seconds: 0, 1, 2, ... (the index of the step t falls in).
double step(double t, double every) { return every > 0.0 ? std::floor(t / every) : 0.0; }

// The integer part of v as 64 bits; a value beyond the 64-bit integers (or not
// a number) gives its own bit pattern, so every time still has a noise value.
uint64_t wholeNumberBits(double v) {
  if (std::fabs(v) < 9223372036854775808.0) return static_cast<uint64_t>(static_cast<int64_t>(v));
  return std::bit_cast<uint64_t>(v);
}

// A value in [0, 1] that changes every `every` seconds, the same for the same seed.
double noise(double t, double every, double seed) {
  const double index = every > 0.0 ? std::floor(t / every) : 0.0;
  uint64_t x = wholeNumberBits(index) * 0x9E3779B97F4A7C15ull ^ wholeNumberBits(seed) * 0xBF58476D1CE4E5B9ull;
  x ^= x >> 31;
  x *= 0x94D049BB133111EBull;
  x ^= x >> 29;
  return static_cast<double>(x >> 11) / static_cast<double>(1ull << 53);
}

}  // namespace

ControlExpression::ControlExpression(const std::string &text)
    : parser_(std::make_unique<mu::Parser>()), time_(std::make_unique<double>(0.0)) {
  try {
    parser_->DefineVar("t", time_.get());
    parser_->DefineConst("pi", M_PI);
    parser_->DefineFun("ramp", ramp);
    parser_->DefineFun("step", step);
    parser_->DefineFun("noise", noise);
    parser_->SetExpr(text);
    parser_->Eval();  // parses now, so errors show before rendering
  } catch (const mu::Parser::exception_type &error) {
    // The parser's message ends with its 0-based position; say the column instead.
    std::string message = error.GetMsg();
    if (const size_t at = message.find(" at position "); at != std::string::npos) message.erase(at);
    if (const size_t found = message.find(" found"); found != std::string::npos) message.erase(found);
    const size_t column = std::min<size_t>(static_cast<size_t>(error.GetPos()), text.size()) + 1;
    throw HostError(fmt::format("\"{}\": column {}: {}", text, column, message));
  }
}

ControlExpression::~ControlExpression() = default;
ControlExpression::ControlExpression(ControlExpression &&) noexcept = default;

float ControlExpression::operator()(double t) {
  *time_ = t;
  return static_cast<float>(parser_->Eval());
}

std::function<float(double)> makeControlValue(const std::string &text) {
  float value = 0.0f;
  const char *end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc() && ptr == end) {
    if (!std::isfinite(value)) throw HostError(fmt::format("\"{}\" is not a finite number", text));
    return [value](double) { return value; };
  }
  auto expression = std::make_shared<ControlExpression>(text);
  return [expression](double time) { return (*expression)(time); };
}

}  // namespace tessivo::host
