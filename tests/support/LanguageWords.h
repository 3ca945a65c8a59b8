#pragma once

#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QStringList>

#include <string>

namespace TestSupport {

/// Words that belong to one language only, as they occur in the program's texts.
inline const QSet<QString> englishWords{
    "the",       "Usage",  "Options", "Arguments", "Commands", "Show",    "Write", "instead",
    "unknown",   "option", "command", "Exit",      "phone",    "file",    "and",   "needs",
    "value",     "does",   "not",     "exist",     "lists",    "Pairing", "code",  "Port",
    "Addresses", "Type",   "into",    "session",   "ended",    "without"};
inline const QSet<QString> spanishWords{
    "Uso",    "Opciones",    "Argumentos", "Órdenes", "Muestra",     "Escribe",  "lugar",   "de",
    "la",     "el",          "orden",      "opción",  "desconocida", "teléfono", "archivo", "Estado",
    "salida", "necesita",    "valor",      "existe",  "lista",       "y",        "Código",  "emparejamiento",
    "Puerto", "Direcciones", "código",     "sesión",  "sin"};

/// The words of `output` that people read: the program's name, the commands, the options and the
/// paths are the same in every language and are left out.
inline QStringList wordsOf(const std::string& output) {
    QString text = QString::fromStdString(output);
    static const QRegularExpression sameInEveryLanguage(
        QStringLiteral("nuvexa-companion-cli|--?[a-z][a-z-]*|~?/[^ ]*|\\b(pair|status|devices|revoke|doctor|"
                       "help)\\b"));
    text.replace(sameInEveryLanguage, QStringLiteral(" "));
    static const QRegularExpression notALetter(QStringLiteral("[^\\p{L}]+"));
    return text.split(notALetter, Qt::SkipEmptyParts);
}

} // namespace TestSupport
