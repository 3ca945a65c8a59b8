#include "CompanionCore/ProcessArguments.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using CompanionCore::ProcessArguments;

namespace {

std::string procArgs2(int count, const std::string& rest) {
    std::string buffer(sizeof count, '\0');
    std::memcpy(buffer.data(), &count, sizeof count);
    return buffer + rest;
}

using namespace std::string_literals;

} // namespace

TEST(ProcessArgumentsTest, ReadsAProcArgs2Buffer) {
    const auto parsed = ProcessArguments::fromProcArgs2(
        procArgs2(2, "/usr/local/bin/mosh-server\0\0\0\0mosh-server\0new\0SSH_CONNECTION=10.0.0.2 5 10.0.0.1 "
                     "22\0HOME=/Users/ana\0\0garbage"s));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->executable, "/usr/local/bin/mosh-server");
    EXPECT_EQ(parsed->arguments, (std::vector<std::string>{"mosh-server", "new"}));
    EXPECT_EQ(parsed->environment,
              (std::vector<std::string>{"SSH_CONNECTION=10.0.0.2 5 10.0.0.1 22", "HOME=/Users/ana"}));
}

TEST(ProcessArgumentsTest, ReadsAnEnvironmentCutAtTheBuffersEnd) {
    const auto parsed = ProcessArguments::fromProcArgs2(procArgs2(1, "/bin/zsh\0zsh\0A=1\0B=2"s));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->environment, (std::vector<std::string>{"A=1"}));
}

TEST(ProcessArgumentsTest, RefusesABufferCutBeforeTheArgumentsEnd) {
    EXPECT_FALSE(ProcessArguments::fromProcArgs2("ab"));
    EXPECT_FALSE(ProcessArguments::fromProcArgs2(procArgs2(3, "/bin/zsh\0zsh\0-l\0"s)));
    EXPECT_FALSE(ProcessArguments::fromProcArgs2(procArgs2(-1, "/bin/zsh\0"s)));
    EXPECT_FALSE(ProcessArguments::fromProcArgs2(procArgs2(0, "/bin/zsh")));
}

TEST(ProcessArgumentsTest, ReadsALinuxEnvironmentBlock) {
    const auto environment = ProcessArguments::environmentBlock("A=1\0SSH_CONNECTION=x\0\0B=2"s);
    EXPECT_EQ(environment, (std::vector<std::string>{"A=1", "SSH_CONNECTION=x", "B=2"}));
    EXPECT_EQ(ProcessArguments::variable(environment, "SSH_CONNECTION"), "x");
    EXPECT_EQ(ProcessArguments::variable(environment, "SSH"), std::nullopt);
}
