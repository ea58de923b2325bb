#include <vexa/bf/footer_reader_internal.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Vexa::bf {

namespace {

/// Moves over the parts of a footer's tail. Each step is false when the part does not fit.
class TailSkipper {
public:
    explicit TailSkipper(RecordReader& in) : in_(in) {}

    bool skip(unsigned long count, unsigned long size) {
        if (count > in_.left() / size) return false;
        in_.skip(count * size);
        return true;
    }
    bool skip_text() { return length() && skip(length_, 1); }
    bool skip_texts(unsigned long count) {
        for (unsigned long i = 0; i < count; ++i)
            if (!skip_text()) return false;
        return true;
    }
    bool skip_tag_list() {
        while (skip_text())
            if (length_ == 0)
                return true;
            else if (!skip_text())
                return false;
        return false;
    }

private:
    bool length() {
        if (in_.left() < sizeof length_) return false;
        length_ = in_.value<std::uint32_t>();
        return true;
    }

    RecordReader& in_;
    std::uint32_t length_ = 0; ///< of the last text
};

/// An element of \p size bytes for each sample along the axes that have such columns.
bool skip_columns(TailSkipper& tail, StackHeader const& header, PerAxis<std::uint32_t> const& has_columns,
                  unsigned long size) {
    for (std::size_t axis = 0; axis < header.rank; ++axis)
        if (has_columns[axis] && !tail.skip(header.shape[axis], size)) return false;
    return true;
}

bool skip_labels(TailSkipper& tail, StackHeader const& header, StackFooter const& footer) {
    for (std::size_t axis = 0; axis < header.rank; ++axis)
        if (footer.has_col_labels[axis] && !tail.skip_texts(header.shape[axis])) return false;
    return true;
}

} // namespace

StackFooter read_footer_block(RecordReader& in) {
    auto const size = in.value<std::uint32_t>();
    StackFooter::check_size(size);
    static auto const defaults = StackFooter{}.encode();
    auto block = defaults;
    FooterLayout::footer_size.store(block, size);
    std::size_t const known = std::min<std::size_t>(size, FooterLayout::size);
    in.read(block.data() + FooterLayout::footer_size.end(), known - FooterLayout::footer_size.end());
    in.skip(size - known);
    return StackFooter::decode(block);
}

std::optional<unsigned long> skip_footer_tail(RecordReader& in, StackHeader const& header,
                                              StackFooter const& footer) {
    if (header.rank > max_rank) return {};
    TailSkipper tail(in);
    bool const fits = tail.skip_texts(header.rank) &&
                      skip_columns(tail, header, footer.has_col_positions, sizeof(double)) &&
                      skip_labels(tail, header, footer) && tail.skip(footer.obsolete_text_length, 1) &&
                      tail.skip(footer.flush_position_count, sizeof(std::uint64_t)) &&
                      (footer.tag_bytes == 0 || tail.skip_tag_list()) &&
                      tail.skip(footer.chunk_record_count, 2 * sizeof(std::uint64_t)) &&
                      skip_columns(tail, header, footer.has_xy_col_positions, 2 * sizeof(double));
    if (!fits) return {};
    return in.position();
}

} // namespace Vexa::bf
