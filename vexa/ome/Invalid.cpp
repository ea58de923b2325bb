#include <vexa/ome/Invalid.h>

#include <fmt/format.h>

#include <vexa/json/Writer.h>

namespace OME {

namespace {

std::string shown(JSON::Value const& value) {
    std::string const* text = value.get_if<std::string>();
    return text ? *text : JSON::dump(value, false);
}

template <typename... Arguments>
std::string formatted(std::string_view format, Arguments const&... arguments) {
    return fmt::format(fmt::runtime(format), arguments...);
}

} // namespace

Invalid_Argument::Invalid_Argument(std::string_view format) : std::invalid_argument(formatted(format)) {}
Invalid_Argument::Invalid_Argument(std::string_view format, JSON::Value const& argument)
    : std::invalid_argument(formatted(format, shown(argument))) {}
Invalid_Argument::Invalid_Argument(std::string_view format, unsigned char argument)
    : std::invalid_argument(formatted(format, argument)) {}
Invalid_Argument::~Invalid_Argument() = default;

Invalid_Data::Invalid_Data(std::string_view format) : std::runtime_error(formatted(format)) {}
Invalid_Data::~Invalid_Data() = default;

} // namespace OME
