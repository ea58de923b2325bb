// Random histories of a file, against a model of it in memory.

#include <gtest/gtest.h>

#include <vexa/testing/random_history.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::testing;

class FileHistory : public ::testing::TestWithParam<unsigned> {};

TEST_P(FileHistory, AgreesWithItsModel) {
    TemporaryFolder folder;
    run_histories<RandomHistory>(folder / "a.vbf", 1000 * GetParam(), 25, 60);
}

INSTANTIATE_TEST_SUITE_P(Seeds, FileHistory, ::testing::Range(1u, 9u));

} // namespace
