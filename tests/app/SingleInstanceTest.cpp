#include "CompanionApp/SingleInstance.h"
#include "support/Files.h"
#include "support/Patience.h"
#include "support/TemporaryDirectory.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

QString socketIn(const TestSupport::TemporaryDirectory& folder) {
    return QString::fromStdString((folder / "nuvexa-companion.socket").string());
}

} // namespace

TEST(SingleInstanceTest, TheFirstStartIsTheInstanceAndASecondOpensItsPanelAndEnds) {
    TestSupport::TemporaryDirectory runtime;
    CompanionApp::SingleInstance first(socketIn(runtime));
    ASSERT_TRUE(first.claim());
    QSignalSpy opened(&first, &CompanionApp::SingleInstance::openRequested);

    CompanionApp::SingleInstance second(socketIn(runtime));
    EXPECT_FALSE(second.claim()) << "a second instance would run beside the first";
    EXPECT_TRUE(opened.count() > 0 || opened.wait(TestSupport::generousMilliseconds));
    EXPECT_EQ(opened.count(), 1);

    CompanionApp::SingleInstance third(socketIn(runtime));
    EXPECT_FALSE(third.claim());
    EXPECT_TRUE(opened.count() > 1 || opened.wait(TestSupport::generousMilliseconds));
}

TEST(SingleInstanceTest, ASocketLeftByAnInstanceThatEndedIsTakenOver) {
    TestSupport::TemporaryDirectory runtime;
    TestSupport::writeFile(runtime / "nuvexa-companion.socket", "");
    CompanionApp::SingleInstance instance(socketIn(runtime));
    EXPECT_TRUE(instance.claim());
}

TEST(SingleInstanceTest, WithNoPlaceToMeetTheStartRunsAnyway) {
    TestSupport::TemporaryDirectory runtime;
    CompanionApp::SingleInstance unplaced{QString()};
    EXPECT_TRUE(unplaced.claim());
    CompanionApp::SingleInstance unreachable(
        QString::fromStdString((runtime / "no-such-folder" / "nuvexa-companion.socket").string()));
    EXPECT_TRUE(unreachable.claim());
}
