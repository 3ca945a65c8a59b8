#include "Companion/Host.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Translations.h"
#include "cli/CommandLine.h"
#include "cli/DevicesCommand.h"
#include "cli/DoctorCommand.h"
#include "cli/PairCommand.h"
#include "cli/StatusCommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>
#include <exception>
#include <map>
#include <vector>

namespace {

/// This file's texts, in the catalogue's "Main" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(Main)
};

/// What a command answers when it ends on a failure it did not foresee.
constexpr int unforeseenFailureExit = 1;

using Command = int (*)(const Companion::Host& host, const QStringList& arguments);

/// The commands by the name people type.
const std::map<QString, Command> commands = {
    {QStringLiteral("pair"), Cli::runPair},       {QStringLiteral("status"), Cli::runStatus},
    {QStringLiteral("devices"), Cli::runDevices}, {QStringLiteral("revoke"), Cli::runRevoke},
    {QStringLiteral("doctor"), Cli::runDoctor},
};

} // namespace

int main(int argc, char* argv[]) {
    // Help and errors name the program as people type it, not by the path it was started from.
    static char programName[] = "nuvexa-companion-cli";
    std::vector<char*> launchArguments(argv, argv + argc);
    launchArguments[0] = programName;
    QCoreApplication application(argc, launchArguments.data());
    QCoreApplication::setApplicationName(programName);
    QCoreApplication::setApplicationVersion(NUVEXA_VERSION);
    // The panel's catalogue, so both front ends speak the user's language alike.
    Companion::Translations::install(application);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Makes this computer reachable from the nuvexa phone app, from a terminal.");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument("command",
                                 "pair     Run one pairing session in this terminal.\n"
                                 "status   Show whether this computer is ready for the phone.\n"
                                 "devices  List the phones that can log in.\n"
                                 "revoke   Take a phone's access away.\n"
                                 "doctor   Check with the SSH server that a paired phone gets in.");
    // Everything after the command belongs to the command.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    if (!parser.parse(QCoreApplication::arguments())) {
        std::fprintf(stderr, "nuvexa-companion-cli: %s\n", qPrintable(parser.errorText()));
        return Cli::Exit::usage;
    }
    if (parser.isSet("version")) {
        parser.showVersion();
    }
    QStringList arguments = parser.positionalArguments();
    if (parser.isSet("help") || arguments.isEmpty()) {
        if (parser.isSet("help")) {
            parser.showHelp(0);
        }
        std::fputs(qPrintable(parser.helpText()), stderr);
        return Cli::Exit::usage;
    }
    const QString command = arguments.takeFirst();
    const auto found = commands.find(command);
    if (found == commands.end()) {
        std::fprintf(stderr, "nuvexa-companion-cli: unknown command %s\n", qPrintable(command));
        return Cli::Exit::usage;
    }
    // The commands report every failure they foresee as a value; this only keeps one they did not
    // from ending in an abort and a core dump.
    try {
        // Everything the commands reach outside the program, built once.
        const Companion::Host host = Companion::Host::system();
        return found->second(host, arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "nuvexa-companion-cli %s: %s\n", qPrintable(command),
                     qPrintable(Companion::LocalizedFormat::fill(Texts::tr("error inesperado: %@"),
                                                                 {QString::fromLocal8Bit(error.what())})));
        return unforeseenFailureExit;
    }
}
