#pragma once

#include <string>
#include <string_view>
#include <variant>

#include <vexa/foundation/export.h>

namespace JSON {

/// A value doesn't hold what was asked for. Unlike the plain std::bad_variant_access, of which it is one, it
/// says what was expected and what was found.
class VEXA_API Bad_Access : public std::bad_variant_access {
public:
    explicit Bad_Access(std::string text);
    /// Builds the text "Type mismatch: found {}, expected {}".
    Bad_Access(std::string_view found, std::string_view expected);
    Bad_Access(Bad_Access const&) = default;
    Bad_Access& operator=(Bad_Access const&) = default;
    ~Bad_Access() override;

    char const* what() const noexcept override;

private:
    std::string text_;
};

} // namespace JSON
