#include <vexa/foundation/io_loops_internal.h>

#include <algorithm>
#include <cstdint>

#include <vexa/foundation/io_steps_internal.h>
#include <vexa/foundation/types.h>

namespace {

constexpr std::array<int, real_type_count> real_type_codes{
    Vexa::types::uint8, Vexa::types::int8,   Vexa::types::uint16,  Vexa::types::int16,  Vexa::types::uint32,
    Vexa::types::int32, Vexa::types::single, Vexa::types::double_, Vexa::types::uint64, Vexa::types::int64};

std::size_t index_of(int type) {
    std::size_t index = 0;
    while (index < real_type_count && real_type_codes[index] != type) ++index;
    return index;
}

bool takes_part(int type) {
    using namespace Vexa::types;
    return index_of(type) < real_type_count || type == cplx_single || type == cplx_double ||
           type == rgb_triple || type == rgb_word;
}

/// Larger than the last cache of most processors.
constexpr std::size_t streaming_size = std::size_t{32} << 20;

/// How many samples lie before the first one that begins a line; all of them if none does.
std::size_t samples_before_line(Target target, std::size_t count) {
    constexpr std::size_t cache_line = 64;
    std::size_t const address = reinterpret_cast<std::uintptr_t>(target.first);
    std::size_t const gap = (cache_line - address % cache_line) % cache_line;
    return gap % target.stride == 0 ? std::min(gap / target.stride, count) : count;
}

} // namespace

constexpr Loops Vexa::io::portable_loops = all_loops();

Loops const& Vexa::io::loops() {
#ifdef __x86_64__
    static bool const has_avx2 = __builtin_cpu_supports("avx2") != 0;
    if (has_avx2) return avx2_loops;
#endif
    return portable_loops;
}

void Vexa::io::run_dense(Loop loop, Source source, Target target, std::size_t count) {
    bool const streams = loops().run_past_cache && count >= streaming_size / target.stride;
    std::size_t const near = streams ? samples_before_line(target, count) : count;
    if (near > 0) loop(source, target, near);
    if (near < count)
        loops().run_past_cache(loop, {source.first + near * source.stride, source.stride},
                               {target.first + near * target.stride, target.stride}, count - near);
}

Loop Vexa::io::find_conversion(Loops const& loops, int source_type, int target_type) {
    using namespace Vexa::types;
    if (source_type == rgb_word && target_type == rgb_triple) return loops.word_to_triple;
    if (source_type == rgb_triple && target_type == rgb_word) return loops.triple_to_word;
    std::size_t const source = index_of(source_type);
    std::size_t const target = index_of(target_type);
    return source < real_type_count && target < real_type_count ? loops.real[source][target] : nullptr;
}

Loop Vexa::io::find_copy(Loops const& loops, int type) {
    if (!takes_part(type)) return nullptr;
    std::size_t const size = vexa_dt_get_size(type);
    for (SizedLoop const& copy : loops.copy)
        if (copy.size == size) return copy.loop;
    return nullptr;
}
