#include "cli/TerminalStyle.h"

#include "support/Patience.h"
#include "support/Programs.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using Cli::TerminalStyle;

const QString cli = NUVEXA_CLI;
const QString script = "/usr/bin/script";

/// `status` with the arguments `extra`, its standard output a terminal (util-linux's script) with
/// NO_COLOR as `noColor` says, or a pipe; carriage returns the terminal adds are dropped.
std::string status(bool terminal, const QString& extra = {}, const QString& noColor = {}) {
    QProcessEnvironment environment = TestSupport::speaking("en_US.UTF-8");
    // script(1) runs the command with $SHELL, whose own complaints would land in the output.
    environment.insert("SHELL", "/bin/sh");
    environment.remove("NO_COLOR");
    environment.insert("TERM", "xterm");
    if (!noColor.isEmpty()) {
        environment.insert("NO_COLOR", noColor);
    }
    const QString command = cli + " status " + extra + " 2>/dev/null";
    const auto result = terminal ? TestSupport::runProgram(script, {"-qec", command, "/dev/null"},
                                                           TestSupport::generousMilliseconds, environment)
                                 : TestSupport::runProgram("/bin/sh", {"-c", command},
                                                           TestSupport::generousMilliseconds, environment);
    return QString::fromStdString(result.output).remove(u'\r').toStdString();
}

} // namespace

TEST(TerminalStyleTest, SymbolsAndColourOnlyOnATerminalAndColourNeverUnderNoColor) {
    const auto pipe = TerminalStyle::decide(false, std::nullopt, "xterm");
    EXPECT_FALSE(pipe.symbols);
    EXPECT_FALSE(pipe.colour);
    const auto terminal = TerminalStyle::decide(true, std::nullopt, "xterm");
    EXPECT_TRUE(terminal.symbols);
    EXPECT_TRUE(terminal.colour);
    const auto noColor = TerminalStyle::decide(true, "1", "xterm");
    EXPECT_TRUE(noColor.symbols);
    EXPECT_FALSE(noColor.colour);
    // Set but empty means not set.
    EXPECT_TRUE(TerminalStyle::decide(true, "", "xterm").colour);
    EXPECT_FALSE(TerminalStyle::decide(true, std::nullopt, "dumb").colour);
}

TEST(TerminalStyleTest, MarksWithoutSymbolsAreAscii) {
    const TerminalStyle plain;
    EXPECT_EQ(plain.mark(true), QStringLiteral("+"));
    EXPECT_EQ(plain.mark(false), QStringLiteral("-"));
    EXPECT_EQ(plain.blankMark(), QStringLiteral(" "));
    const TerminalStyle symbols{.symbols = true};
    EXPECT_EQ(symbols.mark(true), QStringLiteral("✓"));
    EXPECT_EQ(symbols.mark(false), QStringLiteral("✗"));
    EXPECT_EQ(symbols.blankMark(), QStringLiteral(" "));
    const TerminalStyle colour{.symbols = true, .colour = true};
    EXPECT_TRUE(colour.mark(false).startsWith(QStringLiteral("\033[")));
    EXPECT_TRUE(colour.mark(false).endsWith(QStringLiteral("\033[0m")));
}

TEST(TerminalStyleTest, StatusDrawsSymbolsAndColourOnlyForATerminalAndItsJsonNeverChanges) {
    const std::string piped = status(false);
    EXPECT_EQ(piped.find("✓"), std::string::npos) << piped;
    EXPECT_EQ(piped.find("✗"), std::string::npos) << piped;
    EXPECT_EQ(piped.find('\033'), std::string::npos) << piped;
    if (!std::filesystem::exists(script.toStdString())) {
        GTEST_SKIP() << "script(1) gives the command a terminal; it is not installed";
    }
    const std::string drawn = status(true);
    EXPECT_TRUE(drawn.find("✓") != std::string::npos || drawn.find("✗") != std::string::npos) << drawn;
    EXPECT_NE(drawn.find('\033'), std::string::npos) << drawn;
    const std::string uncoloured = status(true, {}, "1");
    EXPECT_EQ(uncoloured.find('\033'), std::string::npos) << uncoloured;
    EXPECT_TRUE(uncoloured.find("✓") != std::string::npos || uncoloured.find("✗") != std::string::npos);
    EXPECT_EQ(status(true, "--json"), status(false, "--json"));
}
