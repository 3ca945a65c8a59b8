#include "Companion/LogAccessText.h"

#include "Companion/LocalizedFormat.h"

#include <QCoreApplication>

namespace Companion::LogAccessText {

namespace {

/// This file's texts, in the catalogue's "LogAccessText" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(LogAccessText)
};

} // namespace

QString linuxGroups(const std::string& user) {
    //: %@ is the login name in the command
    return LocalizedFormat::fill(
        Texts::tr("Para ver los inicios de sesión, añade tu usuario al grupo adm o systemd-journal con "
                  "«sudo usermod -aG adm %@» y vuelve a iniciar sesión."),
        {QString::fromStdString(user)});
}

QString linuxNoRecords() {
    return Texts::tr(
        "Para ver los inicios de sesión, haz que el sistema guarde los registros del servidor SSH "
        "(systemd-journald o rsyslog en /var/log/auth.log).");
}

QString macosUnifiedLog() {
    return Texts::tr("Para ver los inicios de sesión, usa una cuenta de administrador: macOS solo deja leer "
                     "el registro del sistema a los administradores.");
}

} // namespace Companion::LogAccessText
