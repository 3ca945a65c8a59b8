#include "Companion/WayInDoctor.h"

#include "Companion/QtProcessRunner.h"
#include "Companion/Readiness.h"
#include "Companion/macos/MacSystemActions.h"
#include "support/FakeProcessRunner.h"
#include "support/FakeSystemActions.h"
#include "support/LoginUser.h"
#include "support/Patience.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fstream>

namespace {

using Companion::Finding;
using CompanionCore::LoginReport;
using Item = Companion::ReadinessCheck::Item;

/// sshd's PATH on Debian, which holds /usr/bin/mosh-server.
const std::string debianPath = "/usr/local/bin:/usr/bin:/bin:/usr/games";

LoginReport reportWith(std::optional<std::string> lang,
                       std::optional<std::string> mosh = "/usr/bin/mosh-server") {
    LoginReport report;
    report.path = debianPath;
    report.lang = std::move(lang);
    report.moshServer = std::move(mosh);
    return report;
}

std::shared_ptr<TestSupport::FakeSystemActions>
linuxActions(std::optional<std::string> install = "sudo apt install") {
    auto actions =
        std::make_shared<TestSupport::FakeSystemActions>(std::make_shared<TestSupport::FakeProcessRunner>());
    actions->setWording(Companion::Wording::linuxSystem);
    actions->setInstallCommand(std::move(install));
    return actions;
}

Companion::ReadinessFacts installedAt(const std::string& path, LoginReport login) {
    Companion::ReadinessFacts facts;
    facts.moshPath = path;
    facts.login = std::move(login);
    return facts;
}

/// A process that has ended: gone, or a zombie nobody reaps (an init that does not wait).
bool hasEnded(long long pid) {
    if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) {
        return true;
    }
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const auto close = text.rfind(')');
    return close != std::string::npos && close + 2 < text.size() && text[close + 2] == 'Z';
}

Companion::SshLogin loginWithLocaleFile(const std::filesystem::path& file) {
    return {debianPath, {file}, {file}};
}

} // namespace

TEST(WayInDoctorTest, OnMacOSAMoshServerTheLoginDoesNotFindIsPutOnThePathInZshenv) {
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    Companion::MacSystemActions mac(runner, {});
    const auto found = Companion::Readiness::moshPathFindings(
        installedAt("/opt/homebrew/bin/mosh-server", reportWith("en_US.UTF-8", std::nullopt)), mac);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "moshServerNotInLoginPath");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("/opt/homebrew/bin/mosh-server")) << found[0].text.toStdString();
    EXPECT_EQ(found[0].remedy, "Añade su carpeta al PATH de las sesiones SSH: escribe export "
                               "PATH=\"/opt/homebrew/bin:$PATH\" en ~/.zshenv.");
}

TEST(WayInDoctorTest, OnLinuxTheRemedyIsThePackageOrALinkInUsrLocalBin) {
    auto actions = linuxActions();
    const auto found = Companion::Readiness::moshPathFindings(
        installedAt("/opt/mosh/bin/mosh-server", reportWith("C.UTF-8", std::nullopt)), *actions);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].remedy,
              "Instala el paquete de la distribución (sudo apt install mosh) o enlázalo donde "
              "una sesión SSH lo busca: sudo ln -s /opt/mosh/bin/mosh-server "
              "/usr/local/bin/mosh-server");
}

TEST(WayInDoctorTest, WithoutAPackageManagerOnlyTheLinkIsOffered) {
    auto actions = linuxActions(std::nullopt);
    const auto found = Companion::Readiness::moshPathFindings(
        installedAt("/opt/mosh/bin/mosh-server", reportWith("C.UTF-8", std::nullopt)), *actions);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].remedy, "Enlázalo donde una sesión SSH lo busca: sudo ln -s /opt/mosh/bin/mosh-server "
                               "/usr/local/bin/mosh-server");
}

TEST(WayInDoctorTest, ALoginThatFindsMoshServerOrCannotBeAskedFindsNothing) {
    auto actions = linuxActions();
    EXPECT_TRUE(Companion::Readiness::moshPathFindings(
                    installedAt("/usr/bin/mosh-server", reportWith("C.UTF-8")), *actions)
                    .empty());
    Companion::ReadinessFacts unknown;
    unknown.moshPath = "/usr/bin/mosh-server";
    EXPECT_TRUE(Companion::Readiness::moshPathFindings(unknown, *actions).empty());
}

TEST(WayInDoctorTest, TheMoshRowIsNotReadyAndCarriesTheFinding) {
    auto actions = linuxActions();
    const auto checks = Companion::Readiness::checks(
        installedAt("/opt/mosh/bin/mosh-server", reportWith("C.UTF-8", std::nullopt)), {}, *actions);
    const auto& row = checks.at(1);
    ASSERT_EQ(row.item, Item::moshServer);
    EXPECT_FALSE(row.ok);
    EXPECT_EQ(row.detail, "instalado, pero una sesión SSH no lo encuentra");
    ASSERT_EQ(row.findings.size(), 1U);
    EXPECT_EQ(row.findings[0].cause, "moshServerNotInLoginPath");
}

TEST(WayInDoctorTest, ALoginInTheCLocaleIsNotUtf8AndTheSystemDefaultIsNamed) {
    TestSupport::TemporaryDirectory folder;
    std::ofstream(folder / "locale") << "LANG=C\n";
    const auto found = Companion::WayInDoctor::localeFindings(reportWith("C"), {"C", "C.utf8", "POSIX"},
                                                              loginWithLocaleFile(folder / "locale"),
                                                              std::nullopt, Companion::Wording::linuxSystem);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "loginLocaleNotUtf8");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_EQ(found[0].text,
              QString::fromStdString("Una sesión SSH arranca con el idioma C, que no es UTF-8: "
                                     "mosh-server no arrancará. El idioma por defecto del sistema "
                                     "es C (en " +
                                     (folder / "locale").string() + ")."));
    EXPECT_TRUE(found[0].remedy.contains("sudo localectl set-locale LANG=en_US.UTF-8"));
    EXPECT_TRUE(found[0].remedy.contains("sudo locale-gen en_US.UTF-8"));
}

TEST(WayInDoctorTest, LcAllDecidesOverLang) {
    auto report = reportWith("C.UTF-8");
    report.lcAll = "POSIX";
    const auto found = Companion::WayInDoctor::localeFindings(report, {"C.utf8"}, {}, std::nullopt,
                                                              Companion::Wording::linuxSystem);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(found[0].text.contains("idioma POSIX")) << found[0].text.toStdString();
}

TEST(WayInDoctorTest, AServerThatPassesThePhonesLocaleMakesANonUtf8LoginOnlyAHindrance) {
    const auto settings = CompanionCore::SshdSettings::parse("port 22\nacceptenv LANG\nacceptenv LC_*\n");
    const auto found = Companion::WayInDoctor::localeFindings(reportWith(std::nullopt), {"C.utf8"}, {},
                                                              settings, Companion::Wording::linuxSystem);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_FALSE(found[0].keepsPhoneOut);
    EXPECT_TRUE(found[0].text.contains("AcceptEnv")) << found[0].text.toStdString();
}

TEST(WayInDoctorTest, AUtf8LocaleThatIsNotInstalledIsNamedWithHowToInstallIt) {
    const auto found =
        Companion::WayInDoctor::localeFindings(reportWith("xx_YY.UTF-8"), {"C", "C.utf8", "POSIX"}, {},
                                               std::nullopt, Companion::Wording::linuxSystem);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "loginLocaleNotInstalled");
    EXPECT_EQ(found[0].text,
              "Una sesión SSH pide el idioma xx_YY.UTF-8, que no está instalado: mosh-server no "
              "arrancará.");
    EXPECT_TRUE(found[0].remedy.contains("sudo locale-gen xx_YY.UTF-8"));
}

TEST(WayInDoctorTest, AnInstalledLocaleIsFoundWhateverTheSpellingOfItsCodeset) {
    EXPECT_TRUE(Companion::WayInDoctor::localeFindings(reportWith("en_US.UTF-8"), {"C.utf8", "en_US.utf8"},
                                                       {}, std::nullopt, Companion::Wording::linuxSystem)
                    .empty());
}

TEST(WayInDoctorTest, OnMacOSALoginWithoutALocaleIsGivenOneInZshenv) {
    const auto found = Companion::WayInDoctor::localeFindings(reportWith(std::nullopt), {"en_US.UTF-8"}, {},
                                                              std::nullopt, Companion::Wording::macos);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].remedy, "Da un idioma UTF-8 a las sesiones SSH: escribe export LANG=en_US.UTF-8 en "
                               "~/.zshenv.");
}

TEST(WayInDoctorTest, OnMacOSTheServerIsStartedThroughTheLoginShellAndCheckedWithPsBeforeItIsEnded) {
    TestSupport::FakeProcessRunner runner;
    runner.setAnswer([](const Companion::ProcessCommand& command) {
        if (command.program == Companion::WayInDoctor::psProgram) {
            // Another user's process under that pid: it is not ended.
            return TestSupport::exited(0, "  501 /opt/homebrew/bin/mosh-server\n");
        }
        return TestSupport::exited(
            0, "MOSH CONNECT 60004 TEHAZJhPgKhIWdVkzUyANQ\n\n[mosh-server detached, pid = "
               "4242424]\n");
    });
    const Companion::MacSystemActions mac(std::make_shared<TestSupport::FakeProcessRunner>(), {});
    const auto start =
        Companion::WayInDoctor::startServer({"ana", "/Users/ana", "/bin/zsh"}, mac.sshLogin(), runner);
    EXPECT_EQ(start.connect, (CompanionCore::MoshConnect{60004, "TEHAZJhPgKhIWdVkzUyANQ"}));
    EXPECT_EQ(start.pid, 4242424);
    EXPECT_FALSE(start.ended);
    const auto runs = runner.runs();
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].program, "/bin/zsh");
    EXPECT_EQ(runs[0].argv0, "zsh");
    EXPECT_EQ(runs[0].arguments, (std::vector<std::string>{"-c", "mosh-server new -i 127.0.0.1"}));
    EXPECT_EQ(runs[1].program, "/bin/ps");
    EXPECT_EQ(runs[1].arguments, (std::vector<std::string>{"-o", "uid=,comm=", "-p", "4242424"}));
}

TEST(WayInDoctorTest, AServerThatDoesNotStartIsReportedInItsOwnWords) {
    Companion::WayInDoctor::ServerStart start;
    start.error = "sh: 1: mosh-server: not found";
    const auto found = Companion::WayInDoctor::serverFindings(start, {});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].cause, "moshServerDoesNotStart");
    EXPECT_TRUE(found[0].keepsPhoneOut);
    EXPECT_EQ(found[0].text, "mosh-server no arranca en una sesión SSH: «sh: 1: mosh-server: not found»");
}

// Real logins of real users, as sshd would start them.

TEST(WayInDoctorTest, ARealLoginWhosePathLacksMoshServersFolderNamesWhereItIsAndTheFix) {
    const auto user = TestSupport::pathlessUser();
    if (!user) {
        GTEST_SKIP() << "a test user needs root (useradd)";
    }
    TestSupport::TemporaryDirectory folder;
    std::filesystem::create_symlink("/usr/bin/mosh-server", folder / "mosh-server");
    Companion::Host host;
    host.runner = std::make_shared<Companion::QtProcessRunner>();
    host.systemActions = linuxActions();
    host.userName = [name = user->user] { return name; };
    host.searchPaths = std::vector<std::string>{folder.path().string()};
    host.hostName = [] { return std::string("estudio"); };
    host = std::move(host).completed();

    const auto facts = Companion::Readiness::probe(host);
    const std::string link = (folder / "mosh-server").string();
    EXPECT_EQ(facts.moshPath, link);
    ASSERT_TRUE(facts.login.has_value());
    EXPECT_EQ(facts.login->moshServer, std::nullopt);
    const auto row = Companion::Readiness::checks(facts, {}, *host.systemActions).at(1);
    EXPECT_FALSE(row.ok);
    EXPECT_EQ(row.detail, "instalado, pero una sesión SSH no lo encuentra");
    ASSERT_EQ(row.findings.size(), 1U);
    EXPECT_TRUE(row.findings[0].text.contains(QString::fromStdString(link)))
        << row.findings[0].text.toStdString();
    EXPECT_TRUE(row.findings[0].remedy.contains(
        QString::fromStdString("sudo ln -s " + link + " /usr/local/bin/mosh-server")))
        << row.findings[0].remedy.toStdString();

    Companion::WayInDoctor::Options options;
    options.user = user->user;
    options.login = host.systemActions->sshLogin();
    const auto found = Companion::WayInDoctor::findings(options, facts, *host.systemActions, *host.runner);
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(found.front(), row.findings[0]);
    // A login that cannot find mosh-server cannot start it either: that is not told twice.
    for (const auto& finding : found) {
        EXPECT_NE(finding.cause, "moshServerDoesNotStart");
    }
}

TEST(WayInDoctorTest, ARealLoginInTheCLocaleIsNamedAndMoshServerReallyRefusesToStart) {
    const auto user = TestSupport::loginUser(TestSupport::plainLoginUser, "");
    if (!user) {
        GTEST_SKIP() << "a test user needs root (useradd)";
    }
    TestSupport::TemporaryDirectory folder;
    std::ofstream(folder / "locale") << "LANG=C\n";
    auto actions = linuxActions();
    Companion::QtProcessRunner runner;
    Companion::WayInDoctor::Options options;
    options.user = user->user;
    options.login = loginWithLocaleFile(folder / "locale");
    Companion::ReadinessFacts facts;
    facts.moshPath = "/usr/bin/mosh-server";

    const auto found = Companion::WayInDoctor::findings(options, facts, *actions, runner);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].cause, "loginLocaleNotUtf8");
    EXPECT_TRUE(found[0].text.contains("idioma C,")) << found[0].text.toStdString();
    EXPECT_EQ(found[1].cause, "moshServerDoesNotStart");
    EXPECT_EQ(found[1].text,
              "mosh-server no arranca en una sesión SSH: «mosh-server needs a UTF-8 native locale "
              "to run.»");
    EXPECT_EQ(found[1].remedy, found[0].remedy);
}

TEST(WayInDoctorTest, ARealLoginAskingForALocaleNotInstalledIsNamedAndMoshServerSaysSo) {
    const auto user = TestSupport::loginUser(TestSupport::plainLoginUser, "");
    if (!user) {
        GTEST_SKIP() << "a test user needs root (useradd)";
    }
    TestSupport::TemporaryDirectory folder;
    std::ofstream(folder / "locale") << "LANG=xx_YY.UTF-8\n";
    auto actions = linuxActions();
    Companion::QtProcessRunner runner;
    Companion::WayInDoctor::Options options;
    options.user = user->user;
    options.login = loginWithLocaleFile(folder / "locale");
    Companion::ReadinessFacts facts;
    facts.moshPath = "/usr/bin/mosh-server";

    const auto found = Companion::WayInDoctor::findings(options, facts, *actions, runner);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].cause, "loginLocaleNotInstalled");
    EXPECT_TRUE(found[0].text.contains("xx_YY.UTF-8")) << found[0].text.toStdString();
    EXPECT_EQ(found[1].cause, "moshServerDoesNotStart");
    EXPECT_TRUE(found[1].text.contains("The locale requested by LANG=xx_YY.UTF-8 isn't available here."))
        << found[1].text.toStdString();
}

TEST(WayInDoctorTest, ARealMoshServerStartedThroughTheLoginPrintsItsConnectLineAndIsEndedAfterwards) {
    const auto user = TestSupport::loginUser(TestSupport::plainLoginUser, "");
    if (!user) {
        GTEST_SKIP() << "a test user needs root (useradd)";
    }
    TestSupport::TemporaryDirectory folder;
    std::ofstream(folder / "locale") << "LANG=C.UTF-8\n";
    Companion::QtProcessRunner runner;
    const auto start =
        Companion::WayInDoctor::startServer(*user, loginWithLocaleFile(folder / "locale"), runner);
    ASSERT_TRUE(start.connect.has_value()) << start.error;
    EXPECT_GE(start.connect->port, 60000);
    ASSERT_TRUE(start.pid.has_value());
    EXPECT_TRUE(start.ended);
    EXPECT_TRUE(TestSupport::pollUntil([&] { return hasEnded(*start.pid); }));

    auto actions = linuxActions();
    Companion::WayInDoctor::Options options;
    options.user = user->user;
    options.login = loginWithLocaleFile(folder / "locale");
    Companion::ReadinessFacts facts;
    facts.moshPath = "/usr/bin/mosh-server";
    EXPECT_EQ(Companion::WayInDoctor::findings(options, facts, *actions, runner), std::vector<Finding>{});
}
