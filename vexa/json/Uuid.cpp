#include <vexa/json/Uuid.h>

#include <stdexcept>

#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace JSON::detail {

std::string uuid_text(boost::uuids::uuid const& uuid) { return boost::uuids::to_string(uuid); }

std::optional<boost::uuids::uuid> uuid_from(std::string_view text) {
    try {
        return boost::uuids::string_generator()(text.begin(), text.end());
    } catch (std::runtime_error const&) {
        return std::nullopt;
    }
}

} // namespace JSON::detail
