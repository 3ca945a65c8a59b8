#include "support/Patience.h"
#include "support/Programs.h"
#include "support/SampleKeys.h"
#include "support/TemporaryDirectory.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <fstream>

// The bash completion as bash runs it: loaded, then asked for the words of a command line, with the
// program built here first on PATH.
namespace {

namespace Keys = TestSupport::SampleKeys;

const QString cli = NUVEXA_CLI;
const QString completion = NUVEXA_COMPLETIONS "/nuvexa-companion-cli.bash";

/// What bash prints after loading the completion and running `script` in the same shell.
std::string inBash(const QString& script) {
    QProcessEnvironment environment = TestSupport::speaking("en_US.UTF-8");
    environment.insert("PATH", QFileInfo(cli).absolutePath() + ":/usr/bin:/bin");
    const auto result = TestSupport::runProgram(
        "/bin/bash", {"--noprofile", "--norc", "-c", "source '" + completion + "'\n" + script},
        TestSupport::generousMilliseconds, environment);
    return result.output;
}

/// The completions of the last word of `words`, one a line.
QStringList completions(const QStringList& words) {
    QStringList quoted;
    for (const QString& word : words) {
        quoted.append("'" + word + "'");
    }
    const std::string output =
        inBash("COMP_WORDS=(" + quoted.join(' ') + "); COMP_CWORD=" + QString::number(words.size() - 1) +
               "; _nuvexa_companion_cli; printf '%s\\n' \"${COMPREPLY[@]}\"");
    return QString::fromStdString(output).split(u'\n', Qt::SkipEmptyParts);
}

/// The long options a command's help lists.
QStringList helpOptions(const QString& command) {
    const auto help = TestSupport::runProgram(cli, {command, "--help"}, TestSupport::generousMilliseconds,
                                              TestSupport::speaking("en_US.UTF-8"));
    static const QRegularExpression option(QStringLiteral("^  (?:-\\w, )?(--[a-z-]+)"),
                                           QRegularExpression::MultilineOption);
    QStringList options;
    for (auto match = option.globalMatch(QString::fromStdString(help.output)); match.hasNext();) {
        options.append(match.next().captured(1));
    }
    return options;
}

} // namespace

TEST(CompletionTest, BashCompletesTheProgramByItsFunction) {
    EXPECT_EQ(inBash("complete -p nuvexa-companion-cli"),
              "complete -F _nuvexa_companion_cli nuvexa-companion-cli\n");
}

TEST(CompletionTest, TheFirstWordIsACommandOrAnOptionOfTheProgram) {
    EXPECT_EQ(completions({"nuvexa-companion-cli", ""}),
              (QStringList{"pair", "status", "devices", "revoke", "doctor", "help", "--help", "--version"}));
    EXPECT_EQ(completions({"nuvexa-companion-cli", "d"}), (QStringList{"devices", "doctor"}));
    EXPECT_EQ(completions({"nuvexa-companion-cli", "help", "re"}), (QStringList{"revoke"}));
}

TEST(CompletionTest, EachCommandCompletesEveryOptionItsHelpLists) {
    for (const QString command : {"pair", "status", "devices", "revoke", "doctor"}) {
        const QStringList listed = helpOptions(command);
        ASSERT_FALSE(listed.isEmpty()) << command.toStdString();
        const QStringList offered = completions({"nuvexa-companion-cli", command, "--"});
        for (const QString& option : listed) {
            EXPECT_TRUE(offered.contains(option)) << command.toStdString() << " " << option.toStdString();
        }
        for (const QString& option : offered) {
            EXPECT_TRUE(listed.contains(option))
                << command.toStdString() << " offers hidden " << option.toStdString();
        }
    }
}

TEST(CompletionTest, RevokeCompletesThePairedPhonesNamesAndFingerprints) {
    TestSupport::TemporaryDirectory home;
    const auto keys = home / "authorized_keys";
    std::ofstream(keys) << "ssh-ed25519 " << Keys::ed25519 << " nuvexa:iPhone de Ana\n"
                        << "ecdsa-sha2-nistp256 " << Keys::ecdsa256 << " ana@laptop\n";
    const QString file = QString::fromStdString(keys.string());
    EXPECT_EQ(completions({"nuvexa-companion-cli", "revoke", "--authorized-keys", file, "iP"}),
              (QStringList{"iPhone\\ de\\ Ana"}));
    EXPECT_EQ(completions({"nuvexa-companion-cli", "revoke", "--authorized-keys", file, "SHA256:"}),
              (QStringList{QString::fromStdString(Keys::ed25519Fingerprint)}));
    EXPECT_TRUE(completions({"nuvexa-companion-cli", "revoke", "--authorized-keys", file, "ana"}).isEmpty())
        << "a key that pairing did not install is no phone";
}
