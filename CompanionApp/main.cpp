#include "CompanionApp/MenuBarApp.h"
#include "CompanionApp/MenuBarIcon.h"
#include "CompanionApp/SingleInstance.h"
#include "CompanionApp/Translations.h"

#include <QApplication>

#include <cstdio>
#include <exception>

namespace {

/// What the panel answers when it ends on a failure it did not foresee.
constexpr int unforeseenFailureExit = 1;

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("nuvexa-companion"));
    QApplication::setApplicationVersion(QStringLiteral(NUVEXA_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("nuvexa-companion"));
    QApplication::setWindowIcon(CompanionApp::MenuBarIcon::applicationIcon());
    CompanionApp::Translations::install(application);

    // A second start (the menu entry beside autostart) opens the running companion's panel instead.
    CompanionApp::SingleInstance instance(CompanionApp::SingleInstance::defaultSocketPath());
    if (!instance.claim()) {
        return 0;
    }

    // The panel shows every failure it foresees on its red line; this only keeps one it did not from
    // ending in an abort and a core dump.
    try {
        // Everything the app reaches outside itself, built once.
        CompanionApp::MenuBarApp app(CompanionApp::MenuBarApp::Options{Companion::Host::system(), {}, {}});
        QObject::connect(&instance, &CompanionApp::SingleInstance::openRequested, &app,
                         &CompanionApp::MenuBarApp::openPanel);
        return QApplication::exec();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "nuvexa-companion: %s\n",
                     qPrintable(CompanionApp::Translations::fill(
                         QCoreApplication::translate("Main", "error inesperado: %@"),
                         {QString::fromLocal8Bit(error.what())})));
        return unforeseenFailureExit;
    }
}
