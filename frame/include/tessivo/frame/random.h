// The process-wide random sequence that Jishin and Linalize draw from: one
// unsigned 32-bit seed, zero when the bundle is loaded, never reseeded.
#pragma once

#include <cstdint>

namespace tessivo {

// One step of the generator: seed * 1103515245 + (seed >> 7) + 12345, modulo
// 2^32. The (seed >> 7) term is part of the sequence and must stay.
constexpr uint32_t AdvanceSeed(uint32_t seed) { return seed * 1103515245u + (seed >> 7) + 12345u; }

// Advances the shared seed and returns it read as a signed 32-bit number.
// Callers bound it with the signed remainder (its sign follows the seed's).
int32_t NextRandom();

// The shared seed as it stands, without drawing.
uint32_t CurrentRandomSeed();

}  // namespace tessivo
