#include "CompanionApp/Translations.h"

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
    QString text;
    text.reserve(format.size());
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const bool placeholder = format[i] == u'%' && i + 1 < format.size() &&
                                 (format[i + 1] == u'@' || format[i + 1] == u'd') && next < arguments.size();
        if (placeholder) {
            text += arguments[next++];
            ++i;
        } else {
            text += format[i];
        }
    }
    return text;
}

} // namespace CompanionApp::Translations
