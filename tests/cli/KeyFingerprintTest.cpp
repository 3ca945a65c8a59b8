#include "cli/KeyFingerprint.h"

#include "server/support/PhoneClient.h"
#include "support/Programs.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

using Cli::KeyFingerprint;

TEST(KeyFingerprintTest, DescribesAKeyAsSshKeygenDoes) {
    const auto fingerprint = KeyFingerprint::of(TestSupport::sampleEd25519Key);
    ASSERT_TRUE(fingerprint.has_value());
    EXPECT_EQ(fingerprint->key.bits, 256);
    EXPECT_EQ(fingerprint->key.fingerprint, TestSupport::sampleEd25519Fingerprint);
    EXPECT_EQ(fingerprint->key.typeLabel, "ED25519");
    EXPECT_EQ(fingerprint->text(),
              std::string("256 ") + TestSupport::sampleEd25519Fingerprint + " phone@example (ED25519)");
}

TEST(KeyFingerprintTest, SaysSoWhenThereIsNoComment) {
    std::string line = TestSupport::sampleEd25519Key;
    line = line.substr(0, line.rfind(' '));
    EXPECT_EQ(KeyFingerprint::of(line)->text(),
              std::string("256 ") + TestSupport::sampleEd25519Fingerprint + " no comment (ED25519)");
}

TEST(KeyFingerprintTest, RefusesWhatIsNotAKeyOfItsType) {
    EXPECT_FALSE(KeyFingerprint::of(""));
    EXPECT_FALSE(KeyFingerprint::of("ssh-ed25519"));
    EXPECT_FALSE(KeyFingerprint::of("ssh-ed25519 not*base64"));
    // The blob names ssh-ed25519, the line says ssh-rsa.
    std::string mislabelled = TestSupport::sampleEd25519Key;
    mislabelled.replace(0, 11, "ssh-rsa");
    EXPECT_FALSE(KeyFingerprint::of(mislabelled));
    EXPECT_FALSE(KeyFingerprint::of("ssh-dss AAAAB3NzaC1kc3MAAACBAP=="));
}

class KeyFingerprintAgainstSshKeygenTest
    : public testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(KeyFingerprintAgainstSshKeygenTest, MatchesSshKeygen) {
    const QString keygen = "/usr/bin/ssh-keygen";
    if (!std::filesystem::exists(keygen.toStdString())) {
        GTEST_SKIP() << "ssh-keygen is not installed";
    }
    TestSupport::TemporaryDirectory folder;
    const QString type = QString::fromStdString(GetParam().first);
    const QString bits = QString::fromStdString(GetParam().second);
    const QString key = QString::fromStdString((folder / "key").string());
    ASSERT_EQ(TestSupport::runProgram(
                  keygen, {"-q", "-t", type, "-b", bits, "-N", "", "-C", "nuvexa:Phone", "-f", key})
                  .exitCode,
              0);
    std::ifstream publicKey(key.toStdString() + ".pub");
    std::string line;
    std::getline(publicKey, line);
    const auto listed = TestSupport::runProgram(keygen, {"-l", "-f", key + ".pub"});
    ASSERT_EQ(listed.exitCode, 0) << listed.output;
    const auto fingerprint = KeyFingerprint::of(line);
    ASSERT_TRUE(fingerprint.has_value()) << line;
    EXPECT_EQ(fingerprint->text() + "\n", listed.output);
}

INSTANTIATE_TEST_SUITE_P(KeyTypes, KeyFingerprintAgainstSshKeygenTest,
                         testing::Values(std::pair<std::string, std::string>{"ed25519", "256"},
                                         std::pair<std::string, std::string>{"rsa", "2048"},
                                         std::pair<std::string, std::string>{"rsa", "3072"},
                                         std::pair<std::string, std::string>{"ecdsa", "256"},
                                         std::pair<std::string, std::string>{"ecdsa", "384"},
                                         std::pair<std::string, std::string>{"ecdsa", "521"}),
                         [](const auto& parameter) {
                             return parameter.param.first + parameter.param.second;
                         });

} // namespace
