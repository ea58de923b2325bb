#include <vexa/bf/DiskFileAccess.h>

#include <memory>

namespace Vexa::bf {

namespace {

/// Up to here a string is resized before its bytes are there.
constexpr unsigned long trusted_length = 1ul << 20;

} // namespace

void DiskFileAccess::write_str(std::string const& s, bool with_length) {
    if (with_length) {
        auto const length = static_cast<std::uint32_t>(s.size());
        write(&length, sizeof length);
    }
    if (!s.empty()) write(s.data(), s.size());
}

void DiskFileAccess::read_str(std::string& s, unsigned long n) {
    if (n == static_cast<unsigned long>(-1)) {
        std::uint32_t length = 0;
        read(&length, sizeof length);
        n = length;
    }
    if (n == 0) {
        s.clear();
    } else if (n <= trusted_length) {
        s.resize(n);
        read(s.data(), n);
    } else {
        // Memory that nobody has touched costs nothing, so that a false length fails before it hurts.
        auto const bytes = std::make_unique_for_overwrite<char[]>(n);
        read(bytes.get(), n);
        s.assign(bytes.get(), n);
    }
}

} // namespace Vexa::bf
