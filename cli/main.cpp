#include "Companion/Host.h"
#include "Companion/LocalizedFormat.h"
#include "Companion/Translations.h"
#include "cli/CommandLine.h"
#include "cli/DevicesCommand.h"
#include "cli/DoctorCommand.h"
#include "cli/PairCommand.h"
#include "cli/StatusCommand.h"

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

/// The program's own help: its options and its commands, in the run's language.
QString programHelp() {
    const Cli::HelpSection options{Texts::tr("Opciones:"),
                                   {{QStringLiteral("-h, --help"), Texts::tr("Muestra esta ayuda.")},
                                    {QStringLiteral("-v, --version"), Texts::tr("Muestra la versión.")}}};
    const Cli::HelpSection list{
        Texts::tr("Órdenes:"),
        {{QStringLiteral("pair"), Texts::tr("Hace una sesión de emparejamiento en este terminal.")},
         {QStringLiteral("status"), Texts::tr("Muestra si este ordenador está listo para el teléfono.")},
         {QStringLiteral("devices"), Texts::tr("Lista los teléfonos que pueden iniciar sesión.")},
         {QStringLiteral("revoke"), Texts::tr("Quita el acceso a un teléfono.")},
         {QStringLiteral("doctor"),
          Texts::tr("Comprueba con el servidor SSH que un teléfono emparejado entra.")},
         {QStringLiteral("help"), Texts::tr("Muestra esta ayuda, o la de la orden que se nombre.")}}};
    return Cli::helpPage(
        Companion::LocalizedFormat::fill(Texts::tr("Uso: %@ [opciones] orden"), {Cli::programName()}),
        Texts::tr("Hace que la app nuvexa del teléfono pueda llegar a este ordenador, desde un terminal."),
        {options, list},
        Texts::tr("«nuvexa-companion-cli help ORDEN» muestra la ayuda de una orden.\n"
                  "Estado de salida: el de la orden (0 hecho, 1 la respuesta es no, 130 interrumpida "
                  "con Ctrl-C); 2 error de uso."));
}

void write(const QString& text, std::FILE* stream) {
    std::fputs(text.toUtf8().constData(), stream);
    std::fflush(stream);
}

/// Reports a usage error of the program itself, with where the commands are listed.
int usageError(const QString& problem) {
    write(Cli::programName() + QStringLiteral(": ") + problem + QStringLiteral("\n") +
              Texts::tr("«nuvexa-companion-cli help» lista las órdenes.") + QStringLiteral("\n"),
          stderr);
    return Cli::Exit::usage;
}

QString unknownCommand(const QString& command) {
    return Companion::LocalizedFormat::fill(Texts::tr("orden desconocida %@"), {command});
}

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

    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty()) {
        write(programHelp(), stderr);
        return Cli::Exit::usage;
    }
    const QString first = arguments.first();
    const QStringList helpNames{QStringLiteral("-h"), QStringLiteral("--help"), QStringLiteral("help")};
    if (helpNames.contains(first)) {
        if (first != QStringLiteral("help") || arguments.size() == 1 || helpNames.contains(arguments.at(1))) {
            write(programHelp(), stdout);
            return Cli::Exit::done;
        }
        if (arguments.size() > 2) {
            return usageError(
                Companion::LocalizedFormat::fill(Texts::tr("argumento inesperado %@"), {arguments.at(2)}));
        }
        // "help pair" is "pair --help".
        arguments = QStringList{arguments.at(1), QStringLiteral("--help")};
    } else if (first == QStringLiteral("-v") || first == QStringLiteral("--version")) {
        write(Cli::programName() + QStringLiteral(" ") + QStringLiteral(NUVEXA_VERSION) +
                  QStringLiteral("\n"),
              stdout);
        return Cli::Exit::done;
    } else if (first.startsWith(u'-')) {
        return usageError(Companion::LocalizedFormat::fill(Texts::tr("opción desconocida %@"), {first}));
    }
    const QString command = arguments.takeFirst();
    const auto found = commands.find(command);
    if (found == commands.end()) {
        return usageError(unknownCommand(command));
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
