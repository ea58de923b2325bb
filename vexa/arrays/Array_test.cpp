#include <vexa/arrays/Array.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

using Vexa::Array;

namespace {

/// The names of all shared memory objects that this process created.
std::vector<std::string>& created_objects() {
    static std::vector<std::string> names;
    return names;
}

/// Where the system shows the shared memory object of this name as a file.
std::filesystem::path object_path(std::string const& name) { return "/dev/shm/" + name; }

} // namespace

// Stands before the system's function, so that the tests see what this process creates, and nothing else.
extern "C" int shm_open(char const* name, int flags, mode_t mode) {
    using Function = int (*)(char const*, int, mode_t);
    static auto const system_function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "shm_open"));
    if (flags & O_CREAT) created_objects().push_back(name);
    return system_function(name, flags, mode);
}

TEST(Array, StartsLocalAndZeroed) {
    Array array(5);
    EXPECT_EQ(array.size(), 5u);
    EXPECT_FALSE(array.is_shared());
    EXPECT_TRUE(std::all_of(array.data(), array.data() + 5, [](char byte) { return byte == 0; }));
}

TEST(Array, OfNoBytesHasNoData) {
    Array array(0);
    EXPECT_EQ(array.size(), 0u);
    EXPECT_EQ(array.data(), nullptr);
    EXPECT_EQ(std::as_const(array).data(), nullptr);
}

TEST(Array, OfANegativeSizeThrows) {
    VEXA_EXPECT_THROWS(Array(static_cast<std::size_t>(-1)), std::length_error,
                       "cannot create std::vector larger than max_size()");
}

TEST(ArrayShare, MovesTheBytesIntoANamedObject) {
    Array array(3);
    std::copy_n("abc", 3, array.data());
    std::string const name = array.share();
    EXPECT_TRUE(array.is_shared());
    EXPECT_EQ(array.size(), 3u);
    EXPECT_EQ(std::string(array.data(), 3), "abc");
    auto const uuid =
        testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    EXPECT_THAT(name, uuid);
    struct stat status {};
    ASSERT_EQ(::stat(object_path(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644u);
    EXPECT_EQ(status.st_size, 3);
}

TEST(ArrayShare, CalledTwiceReturnsTheSameNameAndMakesOneObject) {
    std::size_t const before = created_objects().size();
    Array array(1);
    char const* const first = array.share();
    char* const data = array.data();
    EXPECT_STREQ(array.share(), first);
    EXPECT_EQ(array.data(), data);
    EXPECT_EQ(created_objects().size(), before + 1);
}

TEST(ArrayShare, OfNoBytesMakesAnEmptyObjectThatOpens) {
    Array array(0);
    std::string const name = array.share();
    EXPECT_TRUE(array.is_shared());
    EXPECT_EQ(array.size(), 0u);
    EXPECT_EQ(array.data(), nullptr);
    EXPECT_EQ(std::filesystem::file_size(object_path(name)), 0u);
    Array other(name);
    EXPECT_EQ(other.size(), 0u);
    EXPECT_EQ(other.data(), nullptr);
}

TEST(ArrayShare, LetsASecondArraySeeAndChangeTheBytes) {
    Array first(2);
    first.data()[0] = 'a';
    Array second(std::string(first.share()));
    EXPECT_TRUE(second.is_shared());
    EXPECT_EQ(second.size(), 2u);
    EXPECT_EQ(second.data()[0], 'a');
    second.data()[1] = 'b';
    EXPECT_EQ(first.data()[1], 'b');
    first.data()[0] = 'c';
    EXPECT_EQ(second.data()[0], 'c');
    EXPECT_STREQ(second.share(), first.share());
}

TEST(ArrayShare, OpensByANameWithASlashInFront) {
    Array first(2);
    first.data()[0] = 'a';
    Array const second("/" + std::string(first.share()));
    EXPECT_EQ(second.data()[0], 'a');
}

TEST(ArrayShare, EndsTheNameWithItsCreatorWhileOthersKeepTheBytes) {
    auto creator = std::make_unique<Array>(1);
    std::string const name = creator->share();
    creator->data()[0] = 'x';
    Array kept(name);
    creator.reset();
    EXPECT_FALSE(std::filesystem::exists(object_path(name)));
    EXPECT_THROW(Array{name}, boost::interprocess::interprocess_exception);
    EXPECT_EQ(kept.data()[0], 'x');
    kept.data()[0] = 'y';
    EXPECT_EQ(kept.data()[0], 'y');
}

TEST(ArrayShare, KeepsTheNameWhenAnArrayThatOpenedItGoes) {
    Array creator(1);
    std::string const name = creator.share();
    { Array const opened(name); }
    EXPECT_TRUE(std::filesystem::exists(object_path(name)));
}

TEST(ArrayShare, FromSeveralThreadsMakesOneObject) {
    std::size_t const before = created_objects().size();
    Array array(1000);
    std::vector<char const*> names(4);
    std::vector<std::thread> threads;
    for (char const*& name : names) threads.emplace_back([&array, &name] { name = array.share(); });
    for (auto& thread : threads) thread.join();
    for (char const* const name : names) EXPECT_EQ(name, names[0]);
    EXPECT_EQ(created_objects().size(), before + 1);
}

TEST(Array, OpenedByAnUnknownNameThrows) {
    EXPECT_THROW(Array{std::string("no-such-object")}, boost::interprocess::interprocess_exception);
    EXPECT_THROW(Array{std::string()}, boost::interprocess::interprocess_exception);
}

TEST(SharedMemory, ThatCannotGetItsSizeLeavesNoObjectBehind) {
    std::size_t const before = created_objects().size();
    EXPECT_THROW(Vexa::Shared_Memory(static_cast<std::size_t>(std::numeric_limits<off_t>::max())),
                 boost::interprocess::interprocess_exception);
    EXPECT_THROW(Vexa::Shared_Memory(SIZE_MAX), boost::interprocess::interprocess_exception);
    ASSERT_EQ(created_objects().size(), before + 2);
    for (std::size_t i : {before, before + 1})
        EXPECT_FALSE(std::filesystem::exists(object_path(created_objects()[i])));
}

TEST(SharedMemory, WorksOnThisSystem) {
    std::size_t const before = created_objects().size();
    EXPECT_EQ(Vexa::test_shared_memory(), "");
    ASSERT_EQ(created_objects().size(), before + 1);
    EXPECT_FALSE(std::filesystem::exists(object_path(created_objects().back())));
}
