#pragma once

#include <string>

/// Print a line that says whether something is as it should be, and count what isn't.
void check(bool good, std::string const& what);

/// How many checks have failed. The program fails when one has.
int failed_checks();
