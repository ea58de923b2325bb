#pragma once

#include <memory>
#include <string>

#include <vexa/foundation/export.h>

namespace Vexa {

/// Something that a program publishes under a generated identifier, for others in the process to find.
/// Derive from it what is to be published.
class VEXA_API Object {
public:
    Object(Object const&) = delete;
    Object& operator=(Object const&) = delete;
    virtual ~Object() = 0;

    std::string id; ///< a random UUID: 36 characters of lower-case hexadecimal and dashes

protected:
    Object();
};

/// Publish \p object under its id, up to the end of the process: nothing removes it. An object that is
/// there under the same id stays. Safe from any thread.
/// \throws std::invalid_argument "Cannot register a null object."
VEXA_API void register_object(std::shared_ptr<Object> object);

/// The object that was registered under \p id, or null. Safe from any thread.
VEXA_API std::shared_ptr<Object> find_object(std::string const& id);

} // namespace Vexa
