#include "Companion/ConnectedKeepAwake.h"
#include "support/FakeLoginRecords.h"
#include "support/Patience.h"
#include "support/SampleKeys.h"
#include "support/TemporaryDirectory.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

using Companion::ConnectedKeepAwake;
using Companion::LiveSession;
using Companion::LoginAttempt;
using TestSupport::FakeLiveSessions;
using TestSupport::FakeLoginRecords;
namespace Keys = TestSupport::SampleKeys;

namespace {

/// Remembers what the switch asked of it. It stands in for the desktop's inhibitor, whose own tests
/// hold the real one.
class RecordingInhibitor final : public Companion::SleepInhibitor {
public:
    struct State {
        bool held = false;
        int holds = 0;
        std::optional<std::string> refusal;
    };

    explicit RecordingInhibitor(std::shared_ptr<State> state)
        : m_state(std::move(state)) {}

    void hold(Done done) override {
        ++m_state->holds;
        if (m_state->refusal) {
            done(m_state->refusal);
            return;
        }
        m_state->held = true;
        done(std::nullopt);
    }
    void release() override { m_state->held = false; }

private:
    std::shared_ptr<State> m_state;
};

const std::string phoneAddress = "192.168.1.23";
constexpr int phonePort = 50514;

bool waitFor(const std::function<bool()>& done) {
    return QTest::qWaitFor(done, TestSupport::generousMilliseconds);
}

class ConnectedKeepAwakeTest : public testing::Test {
protected:
    void SetUp() override {
        std::ofstream(m_home.path() / "authorized_keys")
            << "ssh-ed25519 " << Keys::ed25519 << " nuvexa:iPhone de Ana\n";
        m_records->add({std::chrono::system_clock::now() - std::chrono::minutes(5), "ana", phoneAddress,
                        phonePort, Keys::ed25519Fingerprint, true});
    }

    std::unique_ptr<ConnectedKeepAwake> make() {
        Companion::Host host;
        host.authorizedKeys = m_home.path() / "authorized_keys";
        host.userName = [] { return std::string("ana"); };
        host.clock = [] { return std::chrono::system_clock::now(); };
        host.loginRecords = m_records;
        host.liveSessions = m_sessions;
        auto keepAwake = std::make_unique<ConnectedKeepAwake>(
            std::move(host), std::make_unique<RecordingInhibitor>(m_inhibitor));
        keepAwake->setWatchInterval(std::chrono::milliseconds(10));
        return keepAwake;
    }

    /// Waits until `keepAwake` has acted on `looks` more looks.
    static bool looksMore(ConnectedKeepAwake& keepAwake, int looks) {
        QSignalSpy looked(&keepAwake, &ConnectedKeepAwake::looked);
        return waitFor([&] { return looked.count() >= looks; });
    }

    TestSupport::TemporaryDirectory m_home;
    std::shared_ptr<FakeLoginRecords> m_records = std::make_shared<FakeLoginRecords>();
    std::shared_ptr<FakeLiveSessions> m_sessions = std::make_shared<FakeLiveSessions>();
    std::shared_ptr<RecordingInhibitor::State> m_inhibitor = std::make_shared<RecordingInhibitor::State>();
};

} // namespace

TEST_F(ConnectedKeepAwakeTest, StartsOffAndLooksAtNothingWhileOff) {
    m_sessions->set({{4242, phoneAddress, phonePort, false}});
    auto keepAwake = make();
    EXPECT_FALSE(keepAwake->enabled());
    QTest::qWait(100);
    EXPECT_EQ(m_sessions->lists(), 0) << "no wakeups while the switch is off";
    EXPECT_EQ(m_records->reads(), 0);
    EXPECT_FALSE(m_inhibitor->held);
}

TEST_F(ConnectedKeepAwakeTest, HoldsWhileThePairedPhoneIsConnectedAndReleasesWhenTheLastConnectionEnds) {
    auto keepAwake = make();
    keepAwake->setEnabled(true);
    ASSERT_TRUE(looksMore(*keepAwake, 2));
    EXPECT_FALSE(keepAwake->holding()) << "nobody is connected yet";
    EXPECT_EQ(m_records->reads(), 0) << "with no SSH process, the records are not read";

    m_sessions->set({{4242, phoneAddress, phonePort, false}, {4243, phoneAddress, phonePort, false}});
    ASSERT_TRUE(waitFor([&] { return keepAwake->holding(); }));
    EXPECT_TRUE(m_inhibitor->held);

    m_sessions->set({{4243, phoneAddress, phonePort, false}});
    ASSERT_TRUE(looksMore(*keepAwake, 2));
    EXPECT_TRUE(keepAwake->holding()) << "one connection is still open";

    m_sessions->set({});
    ASSERT_TRUE(waitFor([&] { return !keepAwake->holding(); }));
    EXPECT_FALSE(m_inhibitor->held);
    EXPECT_TRUE(keepAwake->enabled()) << "the switch stays on for the next connection";
}

TEST_F(ConnectedKeepAwakeTest, ALoginOfAnotherClientOrAMoshSessionDoesNotHold) {
    m_sessions->set({{4242, "192.168.1.77", 40000, false}, {4244, phoneAddress, phonePort, true}});
    auto keepAwake = make();
    keepAwake->setEnabled(true);
    ASSERT_TRUE(looksMore(*keepAwake, 3));
    EXPECT_FALSE(keepAwake->holding());
    EXPECT_EQ(m_inhibitor->holds, 0);
}

TEST_F(ConnectedKeepAwakeTest, TurningItOffReleasesAtOnceAndStopsWatching) {
    m_sessions->set({{4242, phoneAddress, phonePort, false}});
    auto keepAwake = make();
    keepAwake->setEnabled(true);
    ASSERT_TRUE(waitFor([&] { return keepAwake->holding(); }));
    keepAwake->setEnabled(false);
    EXPECT_FALSE(keepAwake->holding());
    EXPECT_FALSE(m_inhibitor->held);
    const int lists = m_sessions->lists();
    QTest::qWait(100);
    // A look lists the process table twice: to see whether any login is live, then to match it.
    EXPECT_LE(m_sessions->lists(), lists + 2) << "at most the look already under way";
    EXPECT_FALSE(m_inhibitor->held) << "a look that returns after the switch went off changes nothing";
}

TEST_F(ConnectedKeepAwakeTest, WhereTheRecordsCannotBeReadItSaysHowToAllowItAndGoesOff) {
    m_records->makeUnreadable(QStringLiteral("Añade tu usuario al grupo adm."));
    m_sessions->set({{4242, phoneAddress, phonePort, false}});
    auto keepAwake = make();
    QSignalSpy refused(keepAwake.get(), &ConnectedKeepAwake::refused);
    keepAwake->setEnabled(true);
    ASSERT_TRUE(waitFor([&] { return refused.count() == 1; }));
    EXPECT_EQ(refused.front().front().toString(), QStringLiteral("Añade tu usuario al grupo adm."));
    EXPECT_FALSE(keepAwake->enabled());
    EXPECT_FALSE(m_inhibitor->held);
}

TEST_F(ConnectedKeepAwakeTest, AHoldTheSystemRefusesTurnsTheSwitchOffWithTheSystemsWords) {
    m_inhibitor->refusal = "logind dijo que no";
    m_sessions->set({{4242, phoneAddress, phonePort, false}});
    auto keepAwake = make();
    QSignalSpy refused(keepAwake.get(), &ConnectedKeepAwake::refused);
    keepAwake->setEnabled(true);
    ASSERT_TRUE(waitFor([&] { return refused.count() == 1; }));
    EXPECT_EQ(refused.front().front().toString(), QStringLiteral("logind dijo que no"));
    EXPECT_FALSE(keepAwake->enabled());
}
