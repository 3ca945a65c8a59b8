#include "CompanionCore/server/AnnouncementProbe.h"

#include "Companion/KeyDoctor.h"
#include "server/support/AvahiPeer.h"
#include "server/support/PeerState.h"
#include "support/Patience.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using CompanionCore::AnnouncementProbe;
using CompanionCore::Obstacle;

/// What `avahi-browse -pt TYPE` lists right now, one line per instance and interface.
std::string browse(const char* type) {
    return TestSupport::runProgram(QStringLiteral("/usr/bin/avahi-browse"),
                                   {QStringLiteral("-pt"), QString::fromLatin1(type)})
        .output;
}

TEST(AnnouncementProbeTest, WithoutADaemonToAskItSaysThereIsNone) {
    // CTest points the system bus nowhere for this test; make sure when run by hand, too.
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/nuvexa-no-system-bus", 1);
    EXPECT_EQ(AnnouncementProbe::run(), AnnouncementProbe::Result::noDaemon);
}

TEST(AnnouncementProbeTest, ItsServiceTypeIsNotTheOnePhonesBrowse) {
    EXPECT_NE(AnnouncementProbe::serviceType, "_nuvexa._tcp");
    // A service name (the label after the underscore) has at most 15 characters.
    const auto name = AnnouncementProbe::serviceType.substr(1, AnnouncementProbe::serviceType.find('.') - 1);
    EXPECT_LE(name.size(), 15U);
}

TEST(AnnouncementProbeFindingsTest, EachResultMeansWhatAPhoneMeets) {
    EXPECT_EQ(Companion::KeyDoctor::announcementObstacle(AnnouncementProbe::Result::seen), std::nullopt);
    EXPECT_EQ(Companion::KeyDoctor::announcementObstacle(AnnouncementProbe::Result::notSeen),
              Obstacle::announcementNotSeen);
    EXPECT_EQ(Companion::KeyDoctor::announcementObstacle(AnnouncementProbe::Result::noDaemon),
              Obstacle::noDnsSdDaemon);
    // Not being found makes pairing harder; a phone already paired still logs in.
    EXPECT_FALSE(CompanionCore::keepsPhoneOut(Obstacle::announcementNotSeen));
    EXPECT_TRUE(Companion::KeyDoctor::describe(Obstacle::announcementNotSeen, Companion::Wording::linuxSystem)
                    .contains(QStringLiteral("allow-interfaces")));
}

/// Against the real Avahi daemon of the peer, which these tests restart with other settings.
class AvahiAnnouncementProbeTest : public testing::Test {
protected:
    void SetUp() override {
        const auto peer = TestSupport::peerState("NUVEXA_AVAHI_PEER");
        REQUIRE_PEER(peer);
    }

    /// The causes `doctor --json` names, with no phone paired and nothing listening on the SSH port it
    /// is pointed at (port 1 of loopback refuses at once).
    QStringList doctorCauses() const {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), QString::fromStdString(m_home.path().string()));
        const auto result = TestSupport::runProgram(
            QStringLiteral(NUVEXA_CLI), {"doctor", "--json", "--port", "1", "--host", "127.0.0.1"},
            TestSupport::generousMilliseconds, environment);
        QStringList causes;
        const auto keys = QJsonDocument::fromJson(QByteArray::fromStdString(result.output))["keys"].toArray();
        for (const auto& key : keys) {
            for (const auto& cause : key.toObject()["causes"].toArray()) {
                causes.append(cause.toObject()["cause"].toString());
            }
        }
        return causes;
    }

    TestSupport::TemporaryDirectory m_home;
};

TEST_F(AvahiAnnouncementProbeTest, SeesItsOwnServiceAndLeavesNothingBehind) {
    EXPECT_EQ(AnnouncementProbe::run(TestSupport::generousBound), AnnouncementProbe::Result::seen);
    // Withdrawn on return: the daemon drops the record at once, a browser may hold it a moment longer.
    EXPECT_TRUE(TestSupport::pollUntil([] {
        return browse(AnnouncementProbe::serviceType.data()).find("nuvexa-probe-") == std::string::npos;
    }));
}

TEST_F(AvahiAnnouncementProbeTest, ADaemonThatPublishesOnNoInterfaceOfThisComputerShowsNothing) {
    TestSupport::AvahiRestart restart;
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-stop"));
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-start", {QStringLiteral("nuvexa-none0")}));
    // The daemon takes the registration and says it is in place, yet no browse ever shows it; the
    // probe's own bound is what ends the wait, so a short one keeps the test short.
    EXPECT_EQ(AnnouncementProbe::run(std::chrono::milliseconds(500)), AnnouncementProbe::Result::notSeen);
}

TEST_F(AvahiAnnouncementProbeTest, ADaemonThatRefusesPublishingIsNotSeenWithoutWaiting) {
    TestSupport::AvahiRestart restart;
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-stop"));
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-start",
                                         {QStringLiteral("lo"), QStringLiteral("disable-publishing")}));
    // The refusal arrives as an answer: the generous bound is never reached.
    EXPECT_EQ(AnnouncementProbe::run(TestSupport::generousBound), AnnouncementProbe::Result::notSeen);
}

TEST_F(AvahiAnnouncementProbeTest, DoctorNamesAnAnnouncementNobodyCanSee) {
    // Whether the probe is seen in time is the probe test's to say, with a bound no busy machine
    // reaches; doctor's own bound is the product's, so only what never shows is asserted here.
    const auto working = doctorCauses();
    EXPECT_TRUE(working.contains(QStringLiteral("noSshServer"))) << working.join(u' ').toStdString();
    EXPECT_FALSE(working.contains(QStringLiteral("noDnsSdDaemon")));

    TestSupport::AvahiRestart restart;
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-stop"));
    ASSERT_TRUE(TestSupport::avahiDaemon("daemon-start", {QStringLiteral("nuvexa-none0")}));
    const auto hidden = doctorCauses();
    EXPECT_TRUE(hidden.contains(QStringLiteral("announcementNotSeen"))) << hidden.join(u' ').toStdString();
    EXPECT_FALSE(hidden.contains(QStringLiteral("noDnsSdDaemon")));
}

} // namespace
