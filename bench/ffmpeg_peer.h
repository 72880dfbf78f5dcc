// ffmpeg's filters as peers: a libavfilter graph on one thread that runs one
// filter over the same random full-HD frame each iteration.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tessivo::bench {

// The name under which what's ffmpeg counterpart is registered.
std::string FfmpegName(const std::string &what);

// Registers FfmpegName(what) for each format whose filter(format) is not
// empty. Format 0 runs on 8-bit grey; format 2 on packed BGRA (the bytes of
// our ARGB words) when the filter takes it, else on planar GBRA of the same
// size. A filter graph that cannot be built skips the benchmark with an error.
void RegisterFfmpeg(const std::string &what, std::function<std::string(uint32_t format)> filter);

}  // namespace tessivo::bench
