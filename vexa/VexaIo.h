#pragma once

/// \file Everything of the library but the network client.

#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
