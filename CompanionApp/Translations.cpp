#include "CompanionApp/Translations.h"

#include "Companion/LocalizedFormat.h"

#include <QCoreApplication>
#include <QTranslator>

namespace CompanionApp::Translations {

namespace {

constexpr const char* translatorName = "nuvexa-companion-translation";
constexpr const char* directory = ":/i18n";

} // namespace

bool install(QCoreApplication& application, const QLocale& locale) {
    if (auto* previous = application.findChild<QTranslator*>(QString::fromLatin1(translatorName),
                                                             Qt::FindDirectChildrenOnly)) {
        QCoreApplication::removeTranslator(previous);
        delete previous;
    }
    auto* translator = new QTranslator(&application);
    translator->setObjectName(QString::fromLatin1(translatorName));
    if (!translator->load(locale, QString::fromLatin1(baseName), QStringLiteral("_"),
                          QString::fromLatin1(directory))) {
        delete translator;
        return false;
    }
    return QCoreApplication::installTranslator(translator);
}

QString fill(const QString& format, const QStringList& arguments) {
    return Companion::LocalizedFormat::fill(format, arguments);
}

} // namespace CompanionApp::Translations
