#include <vexa/props/proparr.h>

#include <stdexcept>

#include <fmt/format.h>

namespace {

using Extents = std::vector<unsigned long>;

void report(std::string* err, std::string text) {
    if (!err) throw std::runtime_error(text);
    if (err != reinterpret_cast<std::string*>(1)) *err = std::move(text);
}

Extents up_to_four(unsigned long a, unsigned long b, unsigned long c, unsigned long d) {
    if (c == VProparrayBase::none) return {a, b};
    if (d == VProparrayBase::none) return {a, b, c};
    return {a, b, c, d};
}

std::string too_large(unsigned long n) {
    return fmt::format("Property array of {} elements is too large.", n);
}

} // namespace

VProparrayBase::~VProparrayBase() = default;

unsigned long VProparrayBase::size(std::vector<unsigned long> const& v) {
    if (v.empty()) return 0;
    unsigned long product = 1;
    bool overflow = false;
    for (unsigned long const extent : v) {
        if (extent == 0) return 0;
        overflow = __builtin_mul_overflow(product, extent, &product) || overflow;
    }
    return overflow ? none : product;
}

std::vector<unsigned long> VProparrayBase::ptr2size(unsigned long n, unsigned long const* p) {
    return n == 0 ? Extents() : Extents(p, p + n);
}

std::vector<unsigned long> VProparrayBase::ptr2pos(unsigned long n, unsigned long const* p) {
    return ptr2size(n, p);
}

std::vector<unsigned long> VProparrayBase::val2size(unsigned long a, unsigned long b, unsigned long c,
                                                    unsigned long d) {
    if (a == none) return {0, 0};
    if (b == none) return a == 0 ? Extents{0, 0} : Extents{1, a};
    return up_to_four(a, b, c, d);
}

std::vector<unsigned long> VProparrayBase::val2pos(unsigned long a, unsigned long b, unsigned long c,
                                                   unsigned long d) {
    if (a == none) return {0, 0};
    if (b == none) return {0, a};
    return up_to_four(a, b, c, d);
}

std::vector<unsigned long> VProparrayBase::get_size(bool check) const {
    if (size_vector.empty()) return val2size(size());
    if (!check || size(size_vector) == size()) return size_vector;
    bool const row = size_vector.size() == 2 && size_vector[0] == 1;
    if (row || size_vector == Extents{0, 0}) return val2size(size());
    if (size_vector.size() == 1) return {size()};
    throw std::runtime_error("Invalid size vector in property array.");
}

std::vector<unsigned long> VProparrayBase::get_pos(unsigned long index, std::string* err) const {
    if (size_vector.empty()) return val2size(index);
    Extents const shape = get_size(true);
    Extents result(shape.size(), 0);
    for (std::size_t k = 0; k + 1 < shape.size(); ++k) {
        if (shape[k] == 0) {
            report(err, "Invalid size entry in VProparrayBase.");
            return val2size(index);
        }
        result[k] = index % shape[k];
        index /= shape[k];
    }
    result.back() = index;
    return result;
}

unsigned long VProparrayBase::locate(std::vector<unsigned long> const& pos, std::vector<unsigned long>& s,
                                     bool grow, bool& grown, std::string* err) const {
    std::size_t const own_rank = s.size();
    bool const filled = size(s) != 0;
    if (pos.size() < own_rank) {
        report(err, fmt::format("Input rank '{}' too low (< '{}').", own_rank, pos.size()));
        return none;
    }
    if (pos.size() > own_rank) {
        if (!grow) {
            report(err, fmt::format("Input rank '{}' too high (> '{}').", own_rank, pos.size()));
            return none;
        }
        s.resize(pos.size(), 1);
    }
    for (std::size_t k = 0; k < pos.size(); ++k) {
        if (pos[k] < s[k]) continue;
        bool const may_grow = grow && (!filled || k + 1 == own_rank) && pos[k] != none;
        if (!may_grow) {
            report(err, fmt::format("Index {} out of bounds. ({} >= {})", k, static_cast<int>(pos[k]),
                                    static_cast<int>(s[k])));
            return none;
        }
        s[k] = pos[k] + 1;
        grown = true;
    }
    if (grown && size(s) > largest_grown_count) {
        report(err, too_large(size(s)));
        return none;
    }
    unsigned long index = 0;
    for (std::size_t k = pos.size(); k-- > 0;) index = index * s[k] + pos[k];
    return index;
}

unsigned long VProparrayBase::get_idx(std::vector<unsigned long> const& pos, bool grow, std::string* err) {
    Extents shape = get_size(true);
    bool grown = false;
    unsigned long const index = locate(pos, shape, grow, grown, err);
    if (index != none && grown) set_size(shape, resize_keep);
    return index;
}

unsigned long VProparrayBase::get_idx(std::vector<unsigned long> const& pos, std::string* err) const {
    Extents shape = get_size(true);
    bool grown = false;
    return locate(pos, shape, false, grown, err);
}

void VProparrayBase::set_size(std::vector<unsigned long> const& size, set_mode mode) {
    Extents shape = size; // a copy first, so that a failure to make it changes nothing
    unsigned long const count = VProparrayBase::size(shape);
    if (mode == resize_keep || mode == resize_clear) {
        resize(count, mode == resize_clear);
    } else if (!shape.empty() && count != this->size() && mode != shape_only) {
        if (mode == shape_checked)
            throw std::runtime_error("Invalid array shape: Size does not match number of elements.");
        get_size(true);
        resize(count, false);
    }
    size_vector.swap(shape);
}

void VProparrayBase::set_size(unsigned long a, unsigned long b, unsigned long c, unsigned long d,
                              set_mode mode) {
    set_size(val2size(a, b, c, d), mode);
}

void VProparrayBase::check_count(unsigned long n, unsigned long most) {
    if (n > most) throw std::runtime_error(too_large(n));
}
