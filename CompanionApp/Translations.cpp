#include "CompanionApp/Translations.h"

#include "Companion/LocalizedFormat.h"
#include "Companion/Translations.h"

namespace CompanionApp::Translations {

bool install(QCoreApplication& application, const QLocale& locale) {
    return Companion::Translations::install(application, locale);
}

QString fill(const QString& format, const QStringList& arguments) {
    return Companion::LocalizedFormat::fill(format, arguments);
}

} // namespace CompanionApp::Translations
