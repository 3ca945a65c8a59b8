#include "CompanionCore/LoginReport.h"

#include <gtest/gtest.h>

namespace {

using CompanionCore::LoginReport;

TEST(LoginReportTest, ReadsTheMarkedLinesAmongWhatStartupFilesPrint) {
    const auto report = LoginReport::parse("Welcome!\n"
                                           "nuvexa-login PATH=/usr/bin:/bin\n"
                                           "nuvexa-login LANG=en_US.UTF-8\n"
                                           "nuvexa-login LC_ALL=\n"
                                           "nuvexa-login LC_CTYPE=\n"
                                           "nuvexa-login mosh-server=/usr/bin/mosh-server\n"
                                           "nuvexa-login end\n");
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->path, "/usr/bin:/bin");
    EXPECT_EQ(report->lang, "en_US.UTF-8");
    EXPECT_EQ(report->lcAll, std::nullopt);
    EXPECT_EQ(report->lcCtype, std::nullopt);
    EXPECT_EQ(report->moshServer, "/usr/bin/mosh-server");
}

TEST(LoginReportTest, AnEmptyCommandAnswerMeansTheLoginDoesNotFindIt) {
    const auto report =
        LoginReport::parse("nuvexa-login PATH=/bin\nnuvexa-login mosh-server=\nnuvexa-login end\n");
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->moshServer, std::nullopt);
}

TEST(LoginReportTest, OutputThatStopsBeforeTheEndIsNoReport) {
    EXPECT_EQ(LoginReport::parse("nuvexa-login PATH=/bin\n"), std::nullopt);
    EXPECT_EQ(LoginReport::parse(""), std::nullopt);
}

} // namespace
