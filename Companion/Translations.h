#pragma once

#include <QLocale>

class QCoreApplication;

/// The companion's texts are Spanish and are their own translation keys; other languages come from
/// one catalogue embedded in the program, which the panel and the terminal front end load alike.
namespace Companion::Translations {

/// The embedded translations are ":/i18n/<baseName>_<language>.qm".
inline constexpr const char* baseName = "nuvexa-companion";

/// Replaces any translation installed earlier by this function with the one for the first of
/// `locale`'s languages that has one, stopping at the first Spanish language: a list such as
/// "es_AR:en" asks for Spanish, and its English is only a fallback. True when a translation was
/// installed; otherwise the Spanish keys are shown as they are.
bool install(QCoreApplication& application, const QLocale& locale = QLocale::system());

} // namespace Companion::Translations
