#include <vexa/zinflux/Common.h>

#include <gmock/gmock.h>

namespace Zinflux {
namespace {

TEST(MakeUid, IsARandomUuidInLowerCase) {
    EXPECT_THAT(make_uid(), ::testing::MatchesRegex(
                                "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
    EXPECT_NE(make_uid(), make_uid());
}

} // namespace
} // namespace Zinflux
