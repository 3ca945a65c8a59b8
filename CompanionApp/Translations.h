#pragma once

#include <QLocale>
#include <QString>
#include <QStringList>

class QCoreApplication;

/// The companion's texts are Spanish and are their own translation keys; other languages come from
/// translation files embedded in the program.
namespace CompanionApp::Translations {

/// The embedded translations are ":/i18n/<baseName>_<language>.qm".
inline constexpr const char* baseName = "nuvexa-companion";

/// Replaces any translation installed earlier by this function with the one for the first of
/// `locale`'s languages that has one. True when one was installed; otherwise the Spanish keys are
/// shown as they are.
bool install(QCoreApplication& application, const QLocale& locale = QLocale::system());

/// Fills the placeholders of a translated format, in order: "%@" takes a text and "%d" a whole
/// number written in decimal. Placeholders without an argument stay as they are; an argument is
/// never searched for placeholders itself.
QString fill(const QString& format, const QStringList& arguments);

} // namespace CompanionApp::Translations
