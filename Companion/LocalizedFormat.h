#pragma once

#include <QString>
#include <QStringList>

/// The companion's texts are Spanish and are their own translation keys, so a format keeps the
/// placeholders it is written with: "%@" for a text and "%d" for a whole number.
namespace Companion::LocalizedFormat {

/// Fills the placeholders of a translated format, in order: "%@" takes a text and "%d" a whole
/// number written in decimal. Placeholders without an argument stay as they are; an argument is
/// never searched for placeholders itself.
QString fill(const QString& format, const QStringList& arguments);

} // namespace Companion::LocalizedFormat
