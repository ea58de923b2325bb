#pragma once

#include <cstddef>

#include <vexa/foundation/export.h>

extern "C" {

/// Convert a run of samples from one type code to another.
///
/// Every sample is cast as a value, with no saturation and no rounding to nearest:
/// - integer to integer keeps the low bits (300 becomes 44 as "uint8") or extends by the sign of the source;
/// - integer to real rounds as the processor is set to;
/// - real to integer truncates towards zero to a signed integer of 32 bits (64 bits for 64-bit targets) and
/// keeps
///   the low bits; a value outside that integer, and NaN, reads as its most negative value. So 3e9 becomes
///   0x80000000 as "uint32" and as "int32", and 0 as "uint8". For "uint64", values from 2^63 on are exact,
///   and values from 2^64 on become 2^63.
/// The result of every input is the same in all loops and with all compilers.
///
/// Types: the eight integers of 8 to 64 bits, "single", "double", "cplx_single" and "cplx_double". A complex
/// sample is a pair, real part first. What complex types allow depends on the imaginary buffers:
/// - neither: real to complex (imaginary part 0) and complex to complex; complex to real is refused;
/// - \p src_imag: any real type to complex, \p src and \p src_imag, both of \p src_type, make the pairs;
/// - \p dst_imag: complex to any real type, the parts go to \p dst and \p dst_imag, both of \p dst_type;
/// - both: refused.
/// The two colour types convert among themselves only. A triple's byte 0 becomes the lowest byte of the word,
/// while the word's bits 16 to 23 become byte 0 of the triple.
/// \note Deliberate: the way there and back swaps the first and the last byte of a colour.
///
/// \param count samples; 0 succeeds for every supported pair and touches nothing, also with null buffers
/// \param src,dst may lie at any address, aligned or not. They must not overlap, except that they may be the
/// same
///        buffer when the types are equal.
/// \return 0, or -1 for a pair of types that is not supported, in which case nothing is written
///
/// Threads: stateless. May read what lies between the samples of a source; writes nothing but the samples of
/// \p dst and \p dst_imag, so several threads may fill different samples of one buffer.
VEXA_API int vexa_dt_convert(int src_type, int dst_type, void const* src, void* dst, std::size_t count,
                             void const* src_imag, void* dst_imag);

/// As vexa_dt_convert(), for samples that lie apart.
/// \param src_stride,dst_stride the distance from one sample to the next, in elements of the buffer's own
/// type (a
///        complex sample is one element). An imaginary buffer has the stride of its partner.
VEXA_API int vexa_dt_convert_with_strides(int src_type, int dst_type, void const* src, std::size_t src_stride,
                                          void* dst, std::size_t dst_stride, std::size_t count,
                                          void const* src_imag, void* dst_imag);

} // extern "C"
