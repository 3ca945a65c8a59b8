#include "CompanionCore/KeyDiagnosis.h"

#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

using CompanionCore::Obstacle;
using CompanionCore::KeyCheck::Verdict;
namespace KeyDiagnosis = CompanionCore::KeyDiagnosis;

KeyDiagnosis::AddressAnswer answer(const std::string& host, bool loopback, Verdict verdict) {
    return {{host, loopback}, {verdict, std::nullopt, {}}};
}

KeyDiagnosis::Subject subject(const std::filesystem::path& home) {
    KeyDiagnosis::Subject subject;
    subject.user = "ana";
    subject.home = home;
    subject.keyFile = home / ".ssh" / "authorized_keys";
    return subject;
}

TEST(KeyDiagnosisTest, LoopbackComesFirstAndOnlyAddressLiteralsFollow) {
    const auto addresses =
        KeyDiagnosis::addresses({"estudio.local", "192.168.1.20", "127.0.0.1", "192.168.1.20"});
    ASSERT_EQ(addresses.size(), 2U);
    EXPECT_EQ(addresses[0].host, "127.0.0.1");
    EXPECT_TRUE(addresses[0].loopback);
    EXPECT_EQ(addresses[1].host, "192.168.1.20");
    EXPECT_FALSE(addresses[1].loopback);
}

TEST(KeyDiagnosisTest, AServerOnLoopbackThatAHomeAddressDoesNotReachListensThereOnly) {
    const TestSupport::TemporaryDirectory home;
    EXPECT_EQ(KeyDiagnosis::causes(subject(home.path()),
                                   {answer("127.0.0.1", true, Verdict::accepted),
                                    answer("192.168.1.20", false, Verdict::noServer)},
                                   std::nullopt),
              std::vector<Obstacle>{Obstacle::listensOnLoopbackOnly});
}

TEST(KeyDiagnosisTest, NoServerAnywhereIsNoServer) {
    const TestSupport::TemporaryDirectory home;
    EXPECT_EQ(KeyDiagnosis::causes(subject(home.path()),
                                   {answer("127.0.0.1", true, Verdict::noServer),
                                    answer("192.168.1.20", false, Verdict::noServer)},
                                   std::nullopt),
              std::vector<Obstacle>{Obstacle::noSshServer});
}

TEST(KeyDiagnosisTest, AnUnreachableAddressIsNamed) {
    const TestSupport::TemporaryDirectory home;
    EXPECT_EQ(KeyDiagnosis::causes(subject(home.path()),
                                   {answer("127.0.0.1", true, Verdict::accepted),
                                    answer("192.168.1.20", false, Verdict::unreachable)},
                                   std::nullopt),
              std::vector<Obstacle>{Obstacle::addressUnreachable});
}

TEST(KeyDiagnosisTest, ARefusalWithoutAFoundCauseSaysSo) {
    const TestSupport::TemporaryDirectory home;
    EXPECT_EQ(KeyDiagnosis::causes(subject(home.path()), {answer("127.0.0.1", true, Verdict::refused)},
                                   std::nullopt),
              std::vector<Obstacle>{Obstacle::refusedForAnotherReason});
}

TEST(KeyDiagnosisTest, ARefusalIsExplainedByTheServersSettings) {
    const TestSupport::TemporaryDirectory home;
    const auto settings = CompanionCore::SshdSettings::parse("port 22\npubkeyauthentication no\n"
                                                             "authorizedkeysfile .ssh/authorized_keys\n");
    EXPECT_EQ(
        KeyDiagnosis::causes(subject(home.path()), {answer("127.0.0.1", true, Verdict::refused)}, settings),
        std::vector<Obstacle>{Obstacle::publicKeysDisabled});
}

TEST(KeyDiagnosisTest, AKeyFileThatIsAFolderIsNamedAndKeepsThePhoneOut) {
    const TestSupport::TemporaryDirectory home;
    std::filesystem::create_directories(home / ".ssh/authorized_keys");
    const auto result = KeyDiagnosis::diagnose(subject(home.path()), {}, std::nullopt);
    EXPECT_EQ(result.obstacles, std::vector<Obstacle>{Obstacle::keyFileNotRegular});
    ASSERT_TRUE(result.keyFileFailure);
    EXPECT_EQ(result.keyFileFailure->kind, CompanionCore::KeyFileFailure::Kind::notRegularFile);
    EXPECT_EQ(result.failureBehind(Obstacle::keyFileNotRegular), result.keyFileFailure);
    EXPECT_EQ(result.failureBehind(Obstacle::keyFileModes), std::nullopt);
    EXPECT_FALSE(result.works());
}

TEST(KeyDiagnosisTest, AKeyFileBehindAPlainFileInPlaceOfTheFolderIsUnreadableWithTheSystemsError) {
    const TestSupport::TemporaryDirectory home;
    std::ofstream(home / ".ssh") << "not a folder";
    const auto result = KeyDiagnosis::diagnose(subject(home.path()), {}, std::nullopt);
    EXPECT_EQ(result.obstacles, std::vector<Obstacle>{Obstacle::keyFileUnreadable});
    ASSERT_TRUE(result.keyFileFailure);
    EXPECT_EQ(result.keyFileFailure->error, std::errc::not_a_directory);
}

TEST(KeyDiagnosisTest, AMissingKeyFileIsNoObstacle) {
    const TestSupport::TemporaryDirectory home;
    const auto result = KeyDiagnosis::diagnose(subject(home.path()), {}, std::nullopt);
    EXPECT_TRUE(result.obstacles.empty());
    EXPECT_EQ(result.keyFileFailure, std::nullopt);
    EXPECT_TRUE(result.works());
}

TEST(KeyDiagnosisTest, OnlyWhatKeepsThePhoneOutMakesItFail) {
    KeyDiagnosis::Result result;
    result.obstacles = {Obstacle::noDnsSdDaemon, Obstacle::firewallBlocksPairing};
    EXPECT_TRUE(result.works());
    result.obstacles.push_back(Obstacle::firewallBlocksSsh);
    EXPECT_FALSE(result.works());
}

} // namespace
