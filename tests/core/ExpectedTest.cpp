#include "CompanionCore/Expected.h"

#include <gtest/gtest.h>

#include <string>

using namespace CompanionCore;

namespace {

enum class Failure { broken };

} // namespace

TEST(ExpectedTest, HoldsAValue) {
    const Expected<std::string, Failure> result(std::string("line"));
    ASSERT_TRUE(result);
    EXPECT_EQ(*result, "line");
    EXPECT_EQ(result->size(), 4u);
}

TEST(ExpectedTest, HoldsAFailure) {
    const Expected<std::string, Failure> result(Failure::broken);
    EXPECT_FALSE(result.hasValue());
    EXPECT_EQ(result.failure(), Failure::broken);
}

TEST(ExpectedTest, ComparesByContent) {
    using Result = Expected<std::string, Failure>;
    EXPECT_EQ(Result(std::string("a")), Result(std::string("a")));
    EXPECT_NE(Result(std::string("a")), Result(Failure::broken));
}
