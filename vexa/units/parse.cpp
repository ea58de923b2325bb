#include <vexa/units/BaseUnit.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale.h>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace Vexa::units {

namespace {

/// Where the operators of a text stand, so that a part of it is split without a scan.
///
/// The depth of a position is the number of closing brackets behind it less that of opening ones. An operator
/// at `i` is outside all brackets of the part that ends before `end` if both positions have the same depth.
class OperatorIndex {
public:
    static constexpr int none = -1;

    explicit OperatorIndex(std::string_view text) : positions_(text.size() + 1) {
        int const size = static_cast<int>(text.size());
        for (int i = size - 1; i >= 0; --i) {
            char const c = text[static_cast<std::size_t>(i)];
            at(i).depth = at(i + 1).depth + (c == ')') - (c == '(');
        }
        std::vector<Last> last_at_depth(2 * text.size() + 1);
        for (int i = 0; i <= size; ++i) {
            Last& last = last_at_depth[static_cast<std::size_t>(at(i).depth + size)];
            at(i).before = last;
            if (i == size) break;
            char const c = text[static_cast<std::size_t>(i)];
            if (c == '*' || c == '/') last.product = i;
            if (c == '^') last.power = i;
        }
    }

    /// The last "*" or "/" in [begin, end) outside brackets, or `none`.
    int product(int begin, int end) const { return inside(begin, at(end).before.product); }
    /// The last "^" in [begin, end) outside brackets, or `none`.
    int power(int begin, int end) const { return inside(begin, at(end).before.power); }

private:
    struct Last {
        int product = none;
        int power = none;
    };
    struct Position {
        int depth = 0;
        Last before;
    };

    Position& at(int i) { return positions_[static_cast<std::size_t>(i)]; }
    Position const& at(int i) const { return positions_[static_cast<std::size_t>(i)]; }
    static int inside(int begin, int position) { return position >= begin ? position : none; }

    std::vector<Position> positions_;
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// The length of the number at the start of the text, whose first byte is taken as it is. Empty for text that
/// neither is a number nor begins with one.
std::optional<std::size_t> number_length(std::string_view text) {
    bool point = false;
    bool exponent = false;
    std::size_t i = 1;
    for (; i < text.size(); ++i) {
        char const c = text[i];
        if (is_digit(c)) continue;
        if (c == '.') {
            if (std::exchange(point, true)) return std::nullopt;
        } else if ((c == 'e' || c == 'E') && !exponent) {
            exponent = true;
            ++i;
            if (i == text.size() || !(is_digit(text[i]) || text[i] == '+' || text[i] == '-'))
                return std::nullopt;
        } else {
            break;
        }
    }
    return i;
}

/// The value of such a number; the decimal point is "." in every locale.
std::optional<double> number_value(std::string const& text) {
    static locale_t const c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    char* end = nullptr;
    double const value = strtod_l(text.c_str(), &end, c_locale);
    if (end == text.c_str()) return std::nullopt;
    return value;
}

BaseUnit const* find_unit(std::string_view name) {
    for (BaseUnit const& unit : BaseUnit::get_unit_array())
        if (unit.name == name) return &unit;
    return nullptr;
}

bool accepts_prefix(BaseUnit const& unit, int exponent) {
    if (unit.name == "kg") return false;
    if (unit.name == "g") return exponent < 4;
    if (unit.name == "t") return exponent > 1;
    if (unit.name == "s") return exponent < 1;
    return true;
}

std::optional<RuntimeValue> scaled(double factor, BaseUnit const& unit) {
    RuntimeValue result = unit;
    result.value = factor * unit.value;
    return result;
}

/// A name with or without prefix, or a prefix alone.
std::optional<RuntimeValue> parse_unit(std::string_view name, double factor) {
    if (name.empty()) return RuntimeValue(factor);
    if (BaseUnit const* const unit = find_unit(name)) return scaled(factor, *unit);

    int length = 0;
    int const exponent = BaseUnit::match_prefix(std::string(name.substr(0, 2)), length);
    if (length == 0) return std::nullopt;
    name.remove_prefix(static_cast<std::size_t>(length));
    double const prefix_factor = std::pow(10.0, exponent) * factor;
    if (name.empty()) return RuntimeValue(prefix_factor);

    BaseUnit const* const unit = find_unit(name);
    if (!unit || !accepts_prefix(*unit, exponent)) return std::nullopt;
    return scaled(prefix_factor, *unit);
}

/// A number, blanks, a unit; each may be absent. Fails on a bracket without its counterpart, as it is part of
/// no name.
std::optional<RuntimeValue> parse_factor(std::string_view text) {
    double factor = 1.0;
    char const first = text.front();
    if (is_digit(first) || first == '+' || first == '-' || first == '.') {
        auto const length = number_length(text);
        if (!length) return std::nullopt;
        auto const number = number_value(std::string(text.substr(0, *length)));
        if (!number) return std::nullopt;
        factor = *number;
        text.remove_prefix(*length);
    }
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return parse_unit(text, factor);
}

/// Takes a text apart from the outside in. The work that is left stands on a stack of its own, so that no
/// nesting of the text exhausts the stack of the thread.
class Parser {
public:
    explicit Parser(std::string_view text) : text_(text), operators_(text) {}

    std::optional<RuntimeValue> run() {
        work_.push_back({Step::parse, 0, static_cast<int>(text_.size())});
        while (!work_.empty()) {
            Work const next = work_.back();
            work_.pop_back();
            if (next.step == Step::parse) {
                if (!parse(next.begin, next.end)) return std::nullopt;
            } else if (next.step == Step::power) {
                detail::Fraction power(1, 1);
                if (!power.parse(std::string(part(next.begin, next.end)))) return std::nullopt;
                values_.back() ^= power;
            } else {
                RuntimeValue const right = values_.back();
                values_.pop_back();
                next.step == Step::multiply ? values_.back() *= right : values_.back() /= right;
            }
        }
        return values_.back();
    }

private:
    /// What to do with the part [begin, end), or with the last two values.
    enum class Step { parse, power, multiply, divide };
    struct Work {
        Step step;
        int begin = 0;
        int end = 0;
    };

    std::string_view part(int begin, int end) const {
        return text_.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
    }

    /// Split the part in two, or turn it into a value.
    bool parse(int begin, int end) {
        while (end - begin >= 2 && part(begin, end).starts_with('(') && part(begin, end).ends_with(')')) {
            ++begin;
            --end;
        }
        if (begin == end) return false;

        if (int const at = operators_.product(begin, end); at != OperatorIndex::none) {
            bool const is_product = text_[static_cast<std::size_t>(at)] == '*';
            work_.push_back({is_product ? Step::multiply : Step::divide});
            work_.push_back({Step::parse, at + 1, end});
            work_.push_back({Step::parse, begin, at});
            return true;
        }
        if (int const at = operators_.power(begin, end); at != OperatorIndex::none) {
            work_.push_back({Step::power, at + 1, end});
            work_.push_back({Step::parse, begin, at});
            return true;
        }
        auto const factor = parse_factor(part(begin, end));
        if (!factor) return false;
        values_.push_back(*factor);
        return true;
    }

    std::string_view text_;
    OperatorIndex operators_;
    std::vector<Work> work_;
    std::vector<RuntimeValue> values_;
};

} // namespace

bool BaseUnit::parse(std::string const& text, RuntimeValue& result) {
    constexpr std::size_t longest = std::numeric_limits<int>::max() / 2;
    if (text.size() > longest) return false;
    auto const value = Parser(text).run();
    if (value) result = *value;
    return value.has_value();
}

} // namespace Vexa::units
