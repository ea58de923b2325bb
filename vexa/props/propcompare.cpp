#include <vexa/props/propcompare.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <unordered_map>

#include <vexa/props/type_list_internal.h>

namespace Vexa::props {
namespace {

bool holds_nothing(VProp const& p) { return p.empty() || p.get_if<vexa_EMPTY>(); }

/// Finds members by name: the first of each, also in the large structures that a file can hold.
class MemberIndex {
public:
    explicit MemberIndex(VPropstruct const& members) : members_(members) {
        if (members.size() <= searched_linearly) return;
        index_.reserve(members.size());
        for (auto const& [name, value] : members) index_.try_emplace(name, &value);
    }

    VProp const* find(std::string const& name) const {
        if (members_.size() <= searched_linearly) {
            auto const found = members_.find(name);
            return found == members_.end() ? nullptr : &found->second;
        }
        auto const found = index_.find(name);
        return found == index_.end() ? nullptr : found->second;
    }

private:
    static constexpr std::size_t searched_linearly = 16;
    VPropstruct const& members_;
    std::unordered_map<std::string_view, VProp const*> index_;
};

/// The walk keeps the pairs that are still to be compared on a stack of its own, so depth costs no call
/// stack.
class Comparison {
public:
    explicit Comparison(CompareTraits traits) : traits_(std::move(traits)) {}

    bool run(VProp const& a, VProp const& b) {
        todo_.push_back({&a, &b, nullptr, nullptr});
        while (!todo_.empty()) {
            Pair const next = todo_.back();
            todo_.pop_back();
            if (next.a ? !same(*next.a, *next.b) : !same(*next.struct_a, *next.struct_b)) return false;
        }
        return true;
    }

private:
    /// Two handles, or two elements of structure arrays.
    struct Pair {
        VProp const* a;
        VProp const* b;
        VPropstruct const* struct_a;
        VPropstruct const* struct_b;
    };

    /// Compare two values but for their children, which are put on the stack.
    bool same(VProp const& a, VProp const& b) {
        if (traits_.custom && traits_.custom(a, b)) return true;
        if (holds_nothing(a)) return holds_nothing(b);
        if (a.get_id() != b.get_id()) return false;
        bool result = false;
        with_value_type(a.get_id(), [&]<typename T>(std::type_identity<T>) {
            if constexpr (std::is_same_v<T, VProp>) {
                todo_.push_back({&a.get<T>(), &b.get<T>(), nullptr, nullptr});
                result = true;
            } else {
                result = same(a.get<T>(), b.get<T>());
            }
        });
        return result;
    }

    template <typename T>
    bool same(VProparray<T> const& a, VProparray<T> const& b) {
        if (a.get_size(true) != b.get_size(true)) return false;
        if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
            return a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
        } else if constexpr (std::is_same_v<T, VProp>) {
            for (std::size_t i = a.size(); i-- > 0;) todo_.push_back({&a[i], &b[i], nullptr, nullptr});
            return true;
        } else if constexpr (std::is_same_v<T, VPropstruct>) {
            for (std::size_t i = a.size(); i-- > 0;) todo_.push_back({nullptr, nullptr, &a[i], &b[i]});
            return true;
        } else {
            return std::equal(a.begin(), a.end(), b.begin(),
                              [this](T const& x, T const& y) { return same(x, y); });
        }
    }

    bool same(VPropstruct const& a, VPropstruct const& b) {
        if (a.size() != b.size()) return false;
        MemberIndex const members(b);
        std::size_t const below = todo_.size();
        for (auto const& [name, value] : a) {
            VProp const* const found = members.find(name);
            if (!found) return false;
            todo_.push_back({&value, found, nullptr, nullptr});
        }
        std::reverse(todo_.begin() + static_cast<std::ptrdiff_t>(below), todo_.end());
        return true;
    }

    bool same(vexa_EMPTY, vexa_EMPTY) { return true; }
    bool same(VPropstring const& a, VPropstring const& b) { return a == b; }

    template <typename T>
    requires std::is_integral_v<T>
    bool same(T a, T b) { return a == b; }

    template <typename T>
    bool same(std::complex<T> const& a, std::complex<T> const& b) {
        return same(a.real(), b.real()) && same(a.imag(), b.imag());
    }

    template <typename T>
    requires std::is_floating_point_v<T>
    bool same(T x, T y) {
        if (std::memcmp(&x, &y, sizeof x) == 0) return true;
        if (std::isnan(y)) return std::isnan(x);
        if (std::isinf(y)) return true;
        // The factor comes first: twice the largest number would be infinite.
        T const factor = 2 * std::numeric_limits<T>::epsilon();
        return traits_.tolerant && std::abs(x - y) <= factor * std::max(std::abs(x), std::abs(y));
    }

    CompareTraits traits_;
    std::vector<Pair> todo_;
};

} // namespace

bool is_equal(VProp const& a, VProp const& b, CompareTraits traits) {
    return Comparison(std::move(traits)).run(a, b);
}

} // namespace Vexa::props
