#include "Companion/Translations.h"

#include <QCoreApplication>
#include <QTranslator>

namespace Companion::Translations {

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
    for (const QString& language : locale.uiLanguages()) {
        const QLocale wanted(language);
        if (wanted.language() == QLocale::Spanish) {
            return false;
        }
        auto* translator = new QTranslator(&application);
        translator->setObjectName(QString::fromLatin1(translatorName));
        if (translator->load(wanted, QString::fromLatin1(baseName), QStringLiteral("_"),
                             QString::fromLatin1(directory))) {
            return QCoreApplication::installTranslator(translator);
        }
        delete translator;
    }
    return false;
}

} // namespace Companion::Translations
