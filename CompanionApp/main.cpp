#include "CompanionApp/MenuBarApp.h"
#include "CompanionApp/MenuBarIcon.h"
#include "CompanionApp/Translations.h"

#include <QApplication>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("nuvexa-companion"));
    QApplication::setApplicationVersion(QStringLiteral(NUVEXA_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("nuvexa-companion"));
    QApplication::setWindowIcon(CompanionApp::MenuBarIcon::applicationIcon());
    CompanionApp::Translations::install(application);

    CompanionApp::MenuBarApp app;
    return QApplication::exec();
}
