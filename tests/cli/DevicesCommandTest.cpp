#include "cli/DevicesCommand.h"
#include "cli/CommandLine.h"

#include "support/Patience.h"
#include "support/Programs.h"
#include "support/SampleKeys.h"
#include "support/TemporaryDirectory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <pwd.h>
#include <string>

// The terminal front end's `devices` and `revoke`, run as the program itself on a key file of the
// test's own.
namespace {

namespace Keys = TestSupport::SampleKeys;

const QString cli = NUVEXA_CLI;

const std::string phoneLine = "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPhone de Ana";
const std::string tabletLine = "ssh-rsa " + Keys::rsa + " nuvexa:iPad";
const std::string laptopLine = "ecdsa-sha2-nistp256 " + Keys::ecdsa256 + " ana@laptop";
// The phone's key again, on a line the user added by hand.
const std::string anaLine = "ssh-ed25519 " + Keys::ed25519 + " nuvexa:Ana";
const std::string backupLine = "restrict ssh-ed25519 " + Keys::ed25519 + " backup";
const std::string lockedOut = "can no longer log in";

class DevicesCommandTest : public testing::Test {
protected:
    void write(const std::string& text) { std::ofstream(m_keys, std::ios::binary) << text; }

    std::string content() const {
        std::ifstream in(m_keys, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    TestSupport::ProgramResult run(QStringList arguments) const {
        if (arguments.front() == "devices") {
            arguments << "--login-records" << QString::fromStdString(m_records.string());
        }
        return TestSupport::runProgram(cli, arguments << "--authorized-keys"
                                                      << QString::fromStdString(m_keys.string()));
    }

    TestSupport::TemporaryDirectory m_home;
    std::filesystem::path m_keys = m_home / "authorized_keys";
    /// The SSH server's records as a syslog daemon keeps them: none until a test writes some.
    std::filesystem::path m_records = [this] {
        const auto file = m_home / "auth.log";
        std::ofstream(file).flush();
        return file;
    }();
};

} // namespace

/// What the line under a phone says when the records show no login with its key.
const std::string never = "  has not logged in since it was paired\n";

TEST_F(DevicesCommandTest, ListsEachPhoneWithTypeFingerprintAndLineAndOnlyCountsOtherKeys) {
    write(laptopLine + "\n" + phoneLine + "\n" + tabletLine + "\n");
    const auto result = run({"devices"});
    EXPECT_EQ(result.exitCode, Cli::Exit::done);
    EXPECT_EQ(result.output, "Phone          Key type     In the file\n"
                             "iPhone de Ana  ssh-ed25519  line 2\n"
                             "  " +
                                 Keys::ed25519Fingerprint + "\n" + never +
                                 "iPad           ssh-rsa      line 3\n"
                                 "  " +
                                 Keys::rsaFingerprint + "\n" + never + "1 other key in the file.\n");
    EXPECT_EQ(result.output.find("laptop"), std::string::npos);
}

TEST_F(DevicesCommandTest, TheJsonListsTheSameAndMarksTheOlderKeyOfAName) {
    write(tabletLine + "\n" + "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPad\n");
    const auto result = run({"devices", "--json"});
    ASSERT_EQ(result.exitCode, Cli::Exit::done) << result.output;
    const auto json = QJsonDocument::fromJson(QByteArray::fromStdString(result.output)).object();
    const auto devices = json.value("devices").toArray();
    ASSERT_EQ(devices.size(), 2);
    EXPECT_EQ(devices[0].toObject().value("fingerprint").toString().toStdString(), Keys::rsaFingerprint);
    EXPECT_EQ(devices[0].toObject().value("type").toString(), "ssh-rsa");
    EXPECT_EQ(devices[0].toObject().value("line").toInt(), 1);
    EXPECT_TRUE(devices[0].toObject().value("older").toBool());
    EXPECT_FALSE(devices[1].toObject().value("older").toBool());
    EXPECT_EQ(json.value("otherKeys").toInt(), 0);
}

TEST_F(DevicesCommandTest, AMissingDefaultFileHasNoPhones) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", QString::fromStdString(m_home.path().string()));
    const auto result =
        TestSupport::runProgram(cli, {"devices"}, TestSupport::generousMilliseconds, environment);
    EXPECT_EQ(result.exitCode, Cli::Exit::done);
    EXPECT_EQ(result.output, "No phone is paired.\n");
    EXPECT_FALSE(std::filesystem::exists(m_home / ".ssh")) << "listing creates nothing";
}

TEST_F(DevicesCommandTest, AMissingFileNamedOnTheCommandLineIsAnError) {
    const auto result = run({"devices"});
    EXPECT_EQ(result.exitCode, Cli::Exit::refused);
    EXPECT_EQ(result.output, "nuvexa-companion-cli devices: " + m_keys.string() + " does not exist\n");
    const auto revoke = run({"revoke", "iPad", "--yes"});
    EXPECT_EQ(revoke.exitCode, Cli::Exit::refused);
    EXPECT_EQ(revoke.output, "nuvexa-companion-cli revoke: " + m_keys.string() + " does not exist\n");
    EXPECT_FALSE(std::filesystem::exists(m_keys)) << "listing creates nothing";
}

TEST_F(DevicesCommandTest, AnUnreadableKeyFileIsAClearError) {
    std::filesystem::create_directory(m_keys);
    const auto result = run({"devices"});
    EXPECT_EQ(result.exitCode, Cli::Exit::refused);
    EXPECT_NE(result.output.find("is not a regular file"), std::string::npos) << result.output;
}

TEST_F(DevicesCommandTest, RevokeByNameRemovesExactlyThatLine) {
    const std::string before = "# mine\r\n" + laptopLine + "\r\n";
    write(before + phoneLine + "\n" + tabletLine);
    const auto result = run({"revoke", "iPhone de Ana", "--yes"});
    EXPECT_EQ(result.exitCode, Cli::Exit::done) << result.output;
    EXPECT_EQ(content(), before + tabletLine);
}

TEST_F(DevicesCommandTest, RevokeByFingerprintRemovesThatKeyAmongTwoOfOneName) {
    write(tabletLine + "\n" + "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPad\n");
    const auto ambiguous = run({"revoke", "iPad", "--yes"});
    EXPECT_EQ(ambiguous.exitCode, Cli::Exit::refused);
    EXPECT_NE(ambiguous.output.find(Keys::rsaFingerprint), std::string::npos) << "the matches are listed";
    EXPECT_NE(ambiguous.output.find(Keys::ed25519Fingerprint), std::string::npos);
    const auto result = run({"revoke", QString::fromStdString(Keys::rsaFingerprint), "--yes"});
    EXPECT_EQ(result.exitCode, Cli::Exit::done) << result.output;
    EXPECT_EQ(content(), "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPad\n");
}

TEST_F(DevicesCommandTest, RevokeOfAnUnknownPhoneChangesNothing) {
    write(phoneLine + "\n");
    const auto result = run({"revoke", "iPad", "--yes"});
    EXPECT_EQ(result.exitCode, Cli::Exit::refused);
    EXPECT_EQ(content(), phoneLine + "\n");
}

TEST_F(DevicesCommandTest, RevokeWithoutYesWhereItCannotAskRefuses) {
    write(phoneLine + "\n");
    const auto result = run({"revoke", "iPhone de Ana"});
    EXPECT_EQ(result.exitCode, Cli::Exit::refused);
    EXPECT_NE(result.output.find("--yes"), std::string::npos);
    EXPECT_EQ(content(), phoneLine + "\n");
}

TEST_F(DevicesCommandTest, RevokeAsksOnATerminalAndOnlyAYesRevokes) {
    const QString script = "/usr/bin/script";
    if (!std::filesystem::exists(script.toStdString())) {
        GTEST_SKIP() << "script(1) gives the command a terminal; it is not installed";
    }
    write(phoneLine + "\n");
    const QString command =
        cli + " revoke 'iPhone de Ana' --authorized-keys " + QString::fromStdString(m_keys.string());
    const auto no = TestSupport::runProgram(
        "/bin/sh", {"-c", "printf 'n\\n' | " + script + " -qec \"" + command + "\" /dev/null"});
    EXPECT_NE(no.output.find("Revoke iPhone de Ana"), std::string::npos) << no.output;
    EXPECT_EQ(content(), phoneLine + "\n");
    const auto yes = TestSupport::runProgram(
        "/bin/sh", {"-c", "printf 'y\\n' | " + script + " -qec \"" + command + "\" /dev/null"});
    EXPECT_EQ(yes.exitCode, 0) << yes.output;
    EXPECT_EQ(content(), "");
}

TEST_F(DevicesCommandTest, InSpanishTheListAndTheQuestionSpeakSpanishAndOnlyASiRevokes) {
    const QString script = "/usr/bin/script";
    if (!std::filesystem::exists(script.toStdString())) {
        GTEST_SKIP() << "script(1) gives the command a terminal; it is not installed";
    }
    const auto spanish = TestSupport::speaking("es_ES.UTF-8");
    write(laptopLine + "\n" + phoneLine + "\n");
    const QString keys = QString::fromStdString(m_keys.string());
    const auto listing = TestSupport::runProgram(
        cli,
        {"devices", "--authorized-keys", keys, "--login-records", QString::fromStdString(m_records.string())},
        TestSupport::generousMilliseconds, spanish);
    EXPECT_EQ(listing.output, "Teléfono       Tipo de llave  En el archivo\n"
                              "iPhone de Ana  ssh-ed25519    línea 2\n"
                              "  " +
                                  Keys::ed25519Fingerprint + "\n" +
                                  "  no ha iniciado sesión desde que se emparejó\n"
                                  "1 llave más en el archivo.\n");

    const QString command = cli + " revoke 'iPhone de Ana' --authorized-keys " + keys;
    const auto answer = [&](const char* reply) {
        return TestSupport::runProgram(
            "/bin/sh",
            {"-c", QStringLiteral("printf '%1\\n' | ").arg(QString::fromUtf8(reply)) + script + " -qec \"" +
                       command + "\" /dev/null"},
            TestSupport::generousMilliseconds, spanish);
    };
    // The English yes is no yes to a question asked in Spanish.
    const auto english = answer("y");
    EXPECT_NE(english.output.find("¿Revocar iPhone de Ana (" + Keys::ed25519Fingerprint +
                                  ")? Ya no podrá iniciar sesión. [s/N]"),
              std::string::npos)
        << english.output;
    EXPECT_NE(english.output.find("No se ha revocado nada."), std::string::npos) << english.output;
    EXPECT_EQ(content(), laptopLine + "\n" + phoneLine + "\n");
    const auto yes = answer("Sí");
    EXPECT_EQ(yes.exitCode, 0) << yes.output;
    EXPECT_NE(yes.output.find("iPhone de Ana revocado: ya no puede iniciar sesión."), std::string::npos)
        << yes.output;
    EXPECT_EQ(content(), laptopLine + "\n");
}

TEST_F(DevicesCommandTest, RevokeThroughALinkChangesTheTargetAndKeepsTheLink) {
    const auto target = m_home / "real_keys";
    std::ofstream(target, std::ios::binary) << phoneLine << "\n" << laptopLine << "\n";
    std::filesystem::create_symlink(target, m_keys);
    const auto result = run({"revoke", "iPhone de Ana", "--yes"});
    EXPECT_EQ(result.exitCode, Cli::Exit::done) << result.output;
    EXPECT_TRUE(std::filesystem::is_symlink(m_keys));
    std::ifstream in(target, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()),
              laptopLine + "\n");
}

TEST_F(DevicesCommandTest, UsageErrorsExitTwo) {
    EXPECT_EQ(run({"revoke"}).exitCode, Cli::Exit::usage);
    EXPECT_EQ(run({"devices", "extra"}).exitCode, Cli::Exit::usage);
    EXPECT_EQ(run({"devices", "--bogus"}).exitCode, Cli::Exit::usage);
    const auto help = TestSupport::runProgram(cli, {"revoke", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    // The help is wrapped to the terminal: read it as one paragraph.
    const std::string helpText = QString::fromStdString(help.output).simplified().toStdString();
    EXPECT_NE(helpText.find("Exit status: 0 revoked, the phone's key is on no line of the file any more; "
                            "1 nothing matched"),
              std::string::npos)
        << help.output;
    EXPECT_NE(help.output.find("--every-line"), std::string::npos) << help.output;
}

TEST_F(DevicesCommandTest, RevokeWithYesChangesNothingWhileAnotherLineHoldsTheKeyAndNamesIt) {
    write(anaLine + "\n" + backupLine + "\n");
    const auto result = run({"revoke", "Ana", "--yes"});
    EXPECT_EQ(result.exitCode, Cli::Exit::refused);
    EXPECT_NE(result.output.find("the key of Ana is also on these other lines of the file; nothing revoked:\n"
                                 "  line 2: restrict ssh-ed25519 … backup\n"),
              std::string::npos)
        << result.output;
    EXPECT_NE(result.output.find("add --every-line to remove them too and revoke Ana"), std::string::npos)
        << result.output;
    EXPECT_EQ(result.output.find(lockedOut), std::string::npos) << result.output;
    EXPECT_EQ(content(), anaLine + "\n" + backupLine + "\n");
}

TEST_F(DevicesCommandTest, RevokeWithEveryLineRemovesEachLineHoldingTheKeyAndNoOtherKey) {
    const std::string optionsLine = "from=\"10.0.0.1\",no-pty ssh-ed25519 " + Keys::ed25519;
    write(laptopLine + "\n" + anaLine + "\n" + backupLine + "\r\n" + tabletLine + "\n" + optionsLine);
    const auto result = run({"revoke", "Ana", "--yes", "--every-line"});
    EXPECT_EQ(result.exitCode, Cli::Exit::done) << result.output;
    EXPECT_EQ(result.output, "Revoked Ana: it can no longer log in.\n");
    EXPECT_EQ(content(), laptopLine + "\n" + tabletLine + "\n");
}

TEST_F(DevicesCommandTest, OnATerminalTheOtherLinesAreNamedAndKeptUnlessTheAnswerIsYes) {
    const QString script = "/usr/bin/script";
    if (!std::filesystem::exists(script.toStdString())) {
        GTEST_SKIP() << "script(1) gives the command a terminal; it is not installed";
    }
    const QString command = cli + " revoke Ana --authorized-keys " + QString::fromStdString(m_keys.string());
    const auto answer = [&](const char* replies) {
        return TestSupport::runProgram(
            "/bin/sh", {"-c", QStringLiteral("printf '%1' | ").arg(QString::fromUtf8(replies)) + script +
                                  " -qec \"" + command + "\" /dev/null"});
    };
    write(anaLine + "\n" + backupLine + "\n");
    // Yes to the revoke, then an empty answer: the other line stays, and the phone can still log in.
    const auto kept = answer("y\\n\\n");
    EXPECT_NE(kept.output.find("The key of Ana is also on these other lines of the file:"), std::string::npos)
        << kept.output;
    EXPECT_NE(kept.output.find("line 2: restrict ssh-ed25519 … backup"), std::string::npos) << kept.output;
    EXPECT_NE(kept.output.find("Remove those lines too? If not, Ana will still be able to log in. [y/N]"),
              std::string::npos)
        << kept.output;
    EXPECT_NE(kept.output.find("Ana can still log in: its key is still on these lines of the file:"),
              std::string::npos)
        << kept.output;
    EXPECT_EQ(kept.output.find(lockedOut), std::string::npos) << kept.output;
    EXPECT_EQ(kept.exitCode, Cli::Exit::refused) << kept.output;
    EXPECT_EQ(content(), backupLine + "\n");

    write(anaLine + "\n" + backupLine + "\n");
    const auto removed = answer("y\\ny\\n");
    EXPECT_EQ(removed.exitCode, Cli::Exit::done) << removed.output;
    EXPECT_NE(removed.output.find("Revoked Ana: it can no longer log in."), std::string::npos)
        << removed.output;
    EXPECT_EQ(content(), "");
}

TEST_F(DevicesCommandTest, InSpanishTheOtherLinesAreNamedInSpanish) {
    write(anaLine + "\n" + backupLine + "\n");
    const auto result = TestSupport::runProgram(
        cli, {"revoke", "Ana", "--yes", "--authorized-keys", QString::fromStdString(m_keys.string())},
        TestSupport::generousMilliseconds, TestSupport::speaking("es_ES.UTF-8"));
    EXPECT_EQ(result.exitCode, Cli::Exit::refused);
    EXPECT_EQ(
        result.output,
        "nuvexa-companion-cli revoke: la llave de Ana también está en estas otras líneas del archivo; no se "
        "ha revocado nada:\n"
        "  línea 2: restrict ssh-ed25519 … backup\n"
        "nuvexa-companion-cli revoke: añade --every-line para quitarlas también y revocar Ana\n");
}

namespace {

/// This process's login name, whose logins the command looks for.
std::string currentUser() {
    const passwd* entry = ::getpwuid(::geteuid());
    return entry != nullptr ? entry->pw_name : "";
}

/// `time` as rsyslog's high-precision dates write it.
std::string preciseDate(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char date[64];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S.000000+00:00", &parts);
    return date;
}

/// One line of sshd's (or, with `program`, another program's) as a syslog daemon writes it.
std::string recordLine(std::chrono::system_clock::time_point time, const std::string& message,
                       const std::string& program = "sshd[812]") {
    return preciseDate(time) + " box " + program + ": " + message + "\n";
}

std::string accepted(const std::string& address, int port, const std::string& fingerprint) {
    return "Accepted publickey for " + currentUser() + " from " + address + " port " + std::to_string(port) +
           " ssh2: ED25519 " + fingerprint;
}

} // namespace

TEST_F(DevicesCommandTest, UnderEachPhoneSaysWhenAndWhereItLastLoggedInOnlyFromTheServersOwnRecords) {
    write(phoneLine + "\n" + tabletLine + "\n");
    const auto now = std::chrono::system_clock::now();
    std::ofstream(m_records) << recordLine(now - std::chrono::hours(5),
                                           accepted("100.64.0.9", 50100, Keys::ed25519Fingerprint))
                             << recordLine(now - std::chrono::minutes(130),
                                           accepted("100.64.0.7", 50101, Keys::ed25519Fingerprint))
                             // Another program cannot make the tablet look used.
                             << recordLine(now - std::chrono::minutes(5),
                                           accepted("10.9.9.9", 50102, Keys::rsaFingerprint), "logger[99]");
    const auto result = run({"devices"});
    EXPECT_EQ(result.exitCode, Cli::Exit::done);
    EXPECT_EQ(result.output, "Phone          Key type     In the file\n"
                             "iPhone de Ana  ssh-ed25519  line 1\n"
                             "  " +
                                 Keys::ed25519Fingerprint + "\n" + "  last login 2 h ago from 100.64.0.7\n" +
                                 "iPad           ssh-rsa      line 2\n"
                                 "  " +
                                 Keys::rsaFingerprint + "\n" + never);
}

TEST_F(DevicesCommandTest, TheJsonGivesTheLastLoginInUtcARefusalAndTheLiveSessions) {
    write(phoneLine + "\n" + tabletLine + "\n");
    const auto now = std::chrono::system_clock::now();
    std::ofstream(m_records) << recordLine(now - std::chrono::hours(2),
                                           accepted("100.64.0.7", 50101, Keys::ed25519Fingerprint))
                             << recordLine(now - std::chrono::minutes(3),
                                           "Failed publickey for " + currentUser() +
                                               " from 192.168.1.40 port 50200 ssh2: RSA " +
                                               Keys::rsaFingerprint);
    const auto result = run({"devices", "--json"});
    ASSERT_EQ(result.exitCode, Cli::Exit::done) << result.output;
    const auto json = QJsonDocument::fromJson(QByteArray::fromStdString(result.output)).object();
    EXPECT_TRUE(json.value("loginRecordsUnreadable").isNull());
    const auto devices = json.value("devices").toArray();
    ASSERT_EQ(devices.size(), 2);
    const auto phone = devices[0].toObject();
    EXPECT_EQ(phone.value("lastLogin").toObject().value("address").toString(), "100.64.0.7");
    EXPECT_EQ(phone.value("lastLogin").toObject().value("time").toString().toStdString(),
              preciseDate(now - std::chrono::hours(2)).substr(0, 19) + "Z");
    EXPECT_FALSE(phone.value("connectedNow").toBool());
    EXPECT_EQ(phone.value("moshSessions").toInt(-1), 0);
    EXPECT_TRUE(phone.value("lastRefused").isNull());
    const auto tablet = devices[1].toObject();
    EXPECT_TRUE(tablet.value("lastLogin").isNull());
    EXPECT_EQ(tablet.value("lastRefused").toObject().value("address").toString(), "192.168.1.40");
}

TEST_F(DevicesCommandTest, WhereNoRecordCanBeReadItSaysHowToAllowItOnceForAllPhones) {
    write(phoneLine + "\n" + tabletLine + "\n");
    std::filesystem::remove(m_records);
    const auto result = run({"devices"});
    EXPECT_EQ(result.exitCode, Cli::Exit::done);
    EXPECT_EQ(result.output.find("has not logged in"), std::string::npos) << "nothing is claimed";
    const std::string advice = "To see logins,";
    ASSERT_NE(result.output.find(advice), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find(advice), result.output.rfind(advice)) << "once, not once per phone";

    const auto json =
        QJsonDocument::fromJson(QByteArray::fromStdString(run({"devices", "--json"}).output)).object();
    EXPECT_TRUE(json.value("loginRecordsUnreadable").toString().startsWith("To see logins,"));
    EXPECT_TRUE(json.value("devices").toArray()[0].toObject().value("lastLogin").isNull());
}
