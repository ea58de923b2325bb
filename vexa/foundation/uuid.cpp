#include <vexa/foundation/uuid_internal.h>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

std::string Vexa::random_uuid() { return boost::uuids::to_string(boost::uuids::random_generator()()); }
