#include <vexa/foundation/uuid_internal.h>

#include <gmock/gmock.h>

namespace Vexa {
namespace {

TEST(RandomUuid, IsVersion4InLowerCase) {
    for (int i = 0; i < 100; ++i)
        EXPECT_THAT(
            random_uuid(),
            ::testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
}

TEST(RandomUuid, DiffersEachTime) { EXPECT_NE(random_uuid(), random_uuid()); }

} // namespace
} // namespace Vexa
