// Archives: whatever the bytes say, nothing outside the destination is touched, also where it holds a symbolic
// link; a blob with a fault leaves no destination at all; and what is unpacked is what the listing said.
//
// The first byte of an input decides: even, the rest are the entries of a blob, to which the header is added;
// odd, the rest are the whole blob.

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <vexa/arrays/Utilities.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/temporary_folder.h>
#include <vexa/testing/tree.h>
#include <vexa/zinflux/Archive.h>

#include "fuzz.h"

namespace {

namespace fs = std::filesystem;
using Vexa::testing::is_a_directory;
using Zinflux::Archive;
using Stack = std::shared_ptr<Vexa::arrays::StackInterface>;

Stack stack_of(std::string const& blob) {
    auto const stack = Vexa::create_stack(Vexa::types::uint8, {blob.size()});
    blob.copy(static_cast<char*>(stack->get_data_ptr()), blob.size());
    return stack;
}

/// What an action throws; empty if it doesn't.
template <typename Action>
std::string error_of(Action action) {
    try {
        action();
    } catch (std::runtime_error const& error) {
        return error.what()[0] ? error.what() : "no text";
    }
    return {};
}

/// The folder of one process: a destination among files that must stay as they are.
class Playground {
public:
    Playground() {
        // The deepest tree that a name can make needs that many descriptors to be removed.
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
        Vexa::testing::make_tree(folder_ / "outside", {{"precious", "as it was"}});
    }
    fs::path destination() const { return folder_ / "out"; }
    /// Begin with a destination that has links to the outside under names that a fuzzer finds.
    void put_links() const {
        fs::create_directory(destination());
        fs::create_directory_symlink("../outside", destination() / "l");
        fs::create_symlink("../outside/precious", destination() / "p");
    }
    void clear() const { fs::remove_all(destination()); }
    void check_outside() const {
        std::size_t count = 0;
        for (auto const& entry : fs::directory_iterator(folder_.path()))
            count += entry.path().filename() != "out" ? 1 : 0;
        VEXA_FUZZ_CHECK(count == 1);
        auto const outside = Vexa::testing::tree_of(folder_ / "outside");
        VEXA_FUZZ_CHECK(outside.size() == 1 && outside.at("precious") == "as it was");
    }

private:
    /// Folders in memory are several times as fast.
    static bool prefer_memory() {
        return fs::is_directory("/dev/shm") && ::setenv("TMPDIR", "/dev/shm", 0) == 0;
    }

    bool const in_memory_ = prefer_memory(); ///< above the folder, which is made behind it
    Vexa::testing::TemporaryFolder folder_;
};

/// What the entries make of an empty folder, if none is in the way of another.
std::map<std::string, std::string> expected_tree(std::vector<Zinflux::Blob::Entry> const& entries) {
    std::map<std::string, std::string> tree;
    for (auto const& entry : entries) {
        if (!entry.is_directory) {
            tree[entry.name] = std::to_string(entry.size);
            continue;
        }
        for (auto end = entry.name.find('/'); !entry.name.empty(); end = entry.name.find('/', end + 1)) {
            tree[entry.name.substr(0, end)] = is_a_directory;
            if (end == std::string::npos) break;
        }
    }
    return tree;
}

std::map<std::string, std::string> unpacked_tree(fs::path const& root) {
    std::map<std::string, std::string> tree;
    for (auto const& entry : fs::recursive_directory_iterator(root)) {
        VEXA_FUZZ_CHECK(!entry.is_symlink());
        auto const name = entry.path().native().substr(root.native().size() + 1);
        tree[name] = entry.is_directory() ? is_a_directory : std::to_string(entry.file_size());
    }
    return tree;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Playground const playground;
    std::string blob;
    if (size > 0) blob.assign(reinterpret_cast<char const*>(data) + 1, size - 1);
    if (size > 0 && data[0] % 2 == 0) blob = Vexa::testing::blob_header() + blob;
    auto const stack = stack_of(blob);

    Archive::Contents contents;
    std::vector<Zinflux::Blob::Entry> entries;
    auto const refused = error_of(
        [&] { contents = Archive::contents(stack, [&](auto const& entry) { entries.push_back(entry); }); });
    auto const failed = error_of([&] { Archive::unpack(stack, playground.destination()); });
    if (!refused.empty()) {
        VEXA_FUZZ_CHECK(failed == refused);
        VEXA_FUZZ_CHECK(!fs::exists(playground.destination()));
    } else {
        VEXA_FUZZ_CHECK(contents.size <= blob.size() && contents.file_bytes <= contents.size);
        VEXA_FUZZ_CHECK(contents.files + contents.directories == entries.size());
        if (failed.empty())
            VEXA_FUZZ_CHECK(unpacked_tree(playground.destination()) == expected_tree(entries));
        playground.check_outside();
        playground.clear();
        playground.put_links();
        error_of([&] { Archive::unpack(stack, playground.destination()); });
    }
    playground.check_outside();
    playground.clear();
    return 0;
}
