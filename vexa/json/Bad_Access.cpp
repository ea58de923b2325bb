#include <vexa/json/Bad_Access.h>

#include <utility>

#include <fmt/format.h>

namespace JSON {

Bad_Access::Bad_Access(std::string text) : text_(std::move(text)) {}

Bad_Access::Bad_Access(std::string_view found, std::string_view expected)
    : text_(fmt::format("Type mismatch: found {}, expected {}", found, expected)) {}

Bad_Access::~Bad_Access() = default;

char const* Bad_Access::what() const noexcept { return text_.c_str(); }

} // namespace JSON
