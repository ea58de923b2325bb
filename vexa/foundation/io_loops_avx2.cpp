// Compiled for AVX2, and empty for other processors. Nothing here may run before loops() has chosen it.
#ifdef __x86_64__

#include <vexa/foundation/io_loops_internal.h>

#include <vexa/foundation/io_steps_internal.h>

constexpr Loops Vexa::io::avx2_loops = all_loops();

#endif
