#pragma once

#include <stdexcept>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>

namespace OME {

/// Something was asked of the metadata that they can't give. The text is built from a format with `{}` for
/// the argument; a value is written as its text if it is a string, else as JSON.
class VEXA_API Invalid_Argument : public std::invalid_argument {
public:
    explicit Invalid_Argument(std::string_view format);
    Invalid_Argument(std::string_view format, JSON::Value const& argument);
    Invalid_Argument(std::string_view format, unsigned char argument);
    Invalid_Argument(Invalid_Argument const&) = default;
    Invalid_Argument& operator=(Invalid_Argument const&) = default;
    ~Invalid_Argument() override;
};

/// The metadata contradict themselves or what is done with them.
class VEXA_API Invalid_Data : public std::runtime_error {
public:
    explicit Invalid_Data(std::string_view format);
    Invalid_Data(Invalid_Data const&) = default;
    Invalid_Data& operator=(Invalid_Data const&) = default;
    ~Invalid_Data() override;
};

} // namespace OME
