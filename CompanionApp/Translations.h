#pragma once

#include <QLocale>
#include <QString>
#include <QStringList>

class QCoreApplication;

/// The panel's view of the companion's translations (see Companion/Translations.h).
namespace CompanionApp::Translations {

/// Installs the translation for `locale`, as `Companion::Translations::install` does.
bool install(QCoreApplication& application, const QLocale& locale = QLocale::system());

/// Fills the placeholders of a translated format, in order: "%@" takes a text and "%d" a whole
/// number written in decimal. Placeholders without an argument stay as they are; an argument is
/// never searched for placeholders itself.
QString fill(const QString& format, const QStringList& arguments);

} // namespace CompanionApp::Translations
