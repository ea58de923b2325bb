#include "checks.h"

#include <fmt/format.h>

namespace {

int failures = 0;

} // namespace

void check(bool good, std::string const& what) {
    fmt::print("{:<6} {}\n", good ? "ok" : "FAILED", what);
    if (!good) ++failures;
}

int failed_checks() { return failures; }
