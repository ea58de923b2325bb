#include <vexa/zinflux/Common.h>

#include <vexa/foundation/uuid_internal.h>

std::string Zinflux::make_uid() { return Vexa::random_uuid(); }
