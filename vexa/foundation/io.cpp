#include <vexa/foundation/io.h>

#include <algorithm>

#include <vexa/foundation/io_loops_internal.h>
#include <vexa/foundation/types.h>

namespace {

using Vexa::io::Loop;
using Vexa::io::Run;
using Vexa::io::Source;
using Vexa::io::Target;

constexpr int converted = 0;
constexpr int refused = -1;

/// One side of a conversion as the caller describes it.
template <typename Byte>
struct Samples {
    int type;
    Byte* first;
    std::size_t stride; ///< in elements of the type

    bool is_complex() const { return type == Vexa::types::cplx_single || type == Vexa::types::cplx_double; }
    int component() const { return is_complex() ? type & ~Vexa::types::complex_flag : type; }
    bool is_dense() const { return stride == 1; }

    Run<Byte> run() const { return {first, stride * vexa_dt_get_size(type)}; }
    /// The imaginary parts of complex samples.
    Run<Byte> imaginary() const { return {first + vexa_dt_get_size(component()), run().stride}; }
    /// A second buffer with the stride of this one.
    Run<Byte> partner(Byte* other) const { return {other, run().stride}; }
};
using From = Samples<unsigned char const>;
using To = Samples<unsigned char>;

struct Part {
    Loop loop;
    Source source;
    Target target;
};

/// Move the real and the imaginary parts of a run, in turns of a block, so that what the first turn touched
/// is still in the cache for the second.
int move_parts(Part real, Part imaginary, std::size_t count) {
    constexpr std::size_t block = 1024;
    for (std::size_t done = 0; done < count; done += block) {
        std::size_t const samples = std::min(block, count - done);
        for (Part const& part : {real, imaginary})
            part.loop({part.source.first + done * part.source.stride, part.source.stride},
                      {part.target.first + done * part.target.stride, part.target.stride}, samples);
    }
    return converted;
}

int join(From const& from, unsigned char const* imaginary, To const& to, std::size_t count) {
    Loop const loop = Vexa::io::find_conversion(Vexa::io::loops(), from.type, to.component());
    if (!loop || !to.is_complex()) return refused;
    if (count == 0) return converted;
    return move_parts({loop, from.run(), to.run()}, {loop, from.partner(imaginary), to.imaginary()}, count);
}

int split(From const& from, To const& to, unsigned char* imaginary, std::size_t count) {
    Loop const loop = Vexa::io::find_conversion(Vexa::io::loops(), from.component(), to.type);
    if (!loop || !from.is_complex()) return refused;
    if (count == 0) return converted;
    return move_parts({loop, from.run(), to.run()}, {loop, from.imaginary(), to.partner(imaginary)}, count);
}

int convert_complex(From const& from, To const& to, std::size_t count) {
    Loop const loop = Vexa::io::find_conversion(Vexa::io::loops(), from.component(), to.component());
    if (!loop || !to.is_complex()) return refused;
    if (count == 0) return converted;
    if (!from.is_complex()) {
        bool const single = to.type == Vexa::types::cplx_single;
        Loop const zero = single ? Vexa::io::loops().zero_4 : Vexa::io::loops().zero_8;
        return move_parts({loop, from.run(), to.run()}, {zero, from.run(), to.imaginary()}, count);
    }
    if (from.is_dense() && to.is_dense()) {
        Vexa::io::run_dense(loop, {from.first, from.run().stride / 2}, {to.first, to.run().stride / 2},
                            2 * count);
        return converted;
    }
    return move_parts({loop, from.run(), to.run()}, {loop, from.imaginary(), to.imaginary()}, count);
}

int convert_alone(From const& from, To const& to, std::size_t count) {
    Loop const loop = from.type == to.type ? Vexa::io::find_copy(Vexa::io::loops(), from.type)
                                           : Vexa::io::find_conversion(Vexa::io::loops(), from.type, to.type);
    if (!loop) return convert_complex(from, to, count);
    if (count == 0) return converted;
    if (from.type != to.type && to.is_dense())
        Vexa::io::run_dense(loop, from.run(), to.run(), count);
    else
        loop(from.run(), to.run(), count);
    return converted;
}

} // namespace

int vexa_dt_convert(int src_type, int dst_type, void const* src, void* dst, std::size_t count,
                    void const* src_imag, void* dst_imag) {
    return vexa_dt_convert_with_strides(src_type, dst_type, src, 1, dst, 1, count, src_imag, dst_imag);
}

int vexa_dt_convert_with_strides(int src_type, int dst_type, void const* src, std::size_t src_stride,
                                 void* dst, std::size_t dst_stride, std::size_t count, void const* src_imag,
                                 void* dst_imag) {
    From const from{src_type, static_cast<unsigned char const*>(src), src_stride};
    To const to{dst_type, static_cast<unsigned char*>(dst), dst_stride};
    if (src_imag && dst_imag) return refused;
    if (src_imag) return join(from, static_cast<unsigned char const*>(src_imag), to, count);
    if (dst_imag) return split(from, to, static_cast<unsigned char*>(dst_imag), count);
    return convert_alone(from, to, count);
}
