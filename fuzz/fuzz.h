#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What every fuzz target defines: one run with one input. Inputs are hostile; whatever they do, the function
/// returns 0 and leaves no state behind.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

/// End the program, a finding for the fuzzer and a failure of the replay, unless the property holds. Stays in
/// optimised builds.
#define VEXA_FUZZ_CHECK(property)                                                                            \
    do {                                                                                                     \
        if (!(property)) {                                                                                   \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #property);               \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)
