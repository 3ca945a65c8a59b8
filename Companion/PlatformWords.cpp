#include "Companion/PlatformWords.h"

#include "Companion/LocalizedFormat.h"

#include <QCoreApplication>

namespace Companion::PlatformWords {

namespace {

/// This file's texts, in the catalogue's "PlatformWords" context.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(PlatformWords)
};

} // namespace

QString sshServerTitle(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("Inicio de sesión remoto (SSH)");
    case Wording::linuxSystem:
        return Texts::tr("Servidor SSH");
    }
    return {};
}

QString installTitle(Wording wording, const std::optional<std::string>& packageManager) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("Instalar con Homebrew");
    case Wording::linuxSystem:
        if (packageManager) {
            //: the package manager: apt, dnf, pacman, zypper
            return LocalizedFormat::fill(Texts::tr("Instalar con %@"),
                                         {QString::fromStdString(*packageManager)});
        }
        // The button then says which package managers it looked for.
        return Texts::tr("Instalar…");
    }
    return {};
}

QString keepAwakeTitle(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("Mantener el Mac despierto");
    case Wording::linuxSystem:
        return Texts::tr("Mantener el ordenador despierto");
    }
    return {};
}

QString homeOnlyNote(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr(
            "Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en el Mac y en "
            "el iPhone; entonces aparecerá aquí la dirección de malla.");
    case Wording::linuxSystem:
        return Texts::tr("Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en este "
                         "ordenador y en el iPhone; entonces aparecerá aquí la dirección de malla.");
    }
    return {};
}

QString pairingExplanation(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("En nuvexa, toca «Buscar un Mac en la red», elige este Mac y escribe el código. Tu "
                         "llave del iPhone quedará instalada aquí.");
    case Wording::linuxSystem:
        // «Buscar un Mac en la red» is the phone's own button, named as the phone shows it.
        return Texts::tr("En nuvexa, toca «Buscar un Mac en la red», elige este ordenador y escribe el "
                         "código. Tu llave del iPhone quedará instalada aquí.");
    }
    return {};
}

QString sessionVisible(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("Visible en la red local (Bonjour)");
    case Wording::linuxSystem:
        return Texts::tr("Visible en la red local (Avahi)");
    }
    return {};
}

QString announcerVisible(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("Bonjour: visible en la red local");
    case Wording::linuxSystem:
        return Texts::tr("Avahi: visible en la red local");
    }
    return {};
}

QString announcerNotVisible(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("Bonjour: no visible en la red local");
    case Wording::linuxSystem:
        return Texts::tr("Avahi: no visible en la red local");
    }
    return {};
}

QString announcerNotYetVisible(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("Bonjour: aún no visible en la red local");
    case Wording::linuxSystem:
        return Texts::tr("Avahi: aún no visible en la red local");
    }
    return {};
}

QString noSshServer(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("No responde ningún servidor SSH: actívalo en Ajustes del Sistema > General > "
                         "Compartir > Sesión remota.");
    case Wording::linuxSystem:
        return Texts::tr(
            "No responde ningún servidor SSH: actívalo (en Linux, instala y arranca openssh-server).");
    }
    return {};
}

QString noDnsSdDaemon(Wording wording) {
    switch (wording) {
    case Wording::macos:
        // The system's own mDNSResponder is the service; launchd starts it again with the Mac.
        return Texts::tr(
            "No funciona ningún servicio DNS-SD: el teléfono no encontrará este Mac por sí solo; "
            "reinicia el Mac.");
    case Wording::linuxSystem:
        return Texts::tr("No funciona ningún servicio DNS-SD: el teléfono no encontrará este ordenador "
                         "por sí solo; en Linux, instala y arranca avahi-daemon.");
    }
    return {};
}

QString announcementNotSeen(Wording wording) {
    switch (wording) {
    case Wording::macos:
        return Texts::tr("El servicio DNS-SD no muestra lo que este Mac anuncia: el teléfono no lo "
                         "encontrará por sí solo; "
                         "permite a nuvexa Companion usar la red local (Ajustes del Sistema > Privacidad y "
                         "seguridad > Red "
                         "local) y, si sigue igual, reinicia el Mac.");
    case Wording::linuxSystem:
        return Texts::tr(
            "El servicio DNS-SD no muestra lo que este ordenador anuncia: el teléfono no lo encontrará por "
            "sí solo; en Linux, revisa allow-interfaces y disable-publishing en "
            "/etc/avahi/avahi-daemon.conf (como administrador).");
    }
    return {};
}

QString refusedForAnotherReason(Wording wording) {
    switch (wording) {
    case Wording::macos:
        // Newer servers log each connection from a separate sshd-session process.
        return Texts::tr(
            "El servidor SSH rechaza la llave por otro motivo: mira su registro (log show --last "
            "1h --predicate 'process BEGINSWITH \"sshd\"').");
    case Wording::linuxSystem:
        return Texts::tr(
            "El servidor SSH rechaza la llave por otro motivo: mira su registro (journalctl -u ssh "
            "o /var/log/auth.log).");
    }
    return {};
}

QString moshServerNotInLoginPath(Wording wording, const QString& path,
                                 const std::optional<std::string>& installCommand) {
    const QString folder = path.left(path.lastIndexOf(u'/'));
    switch (wording) {
    case Wording::macos:
        // zsh reads ~/.zshenv for every session, a command over SSH included; ~/.zprofile it does not.
        //: the folder that holds mosh-server
        return LocalizedFormat::fill(
            Texts::tr("Añade su carpeta al PATH de las sesiones SSH: escribe export PATH=\"%@:$PATH\" en "
                      "~/.zshenv."),
            {folder});
    case Wording::linuxSystem:
        if (installCommand) {
            //: the full path of mosh-server, then the command that installs the package
            return LocalizedFormat::fill(
                Texts::tr("Instala el paquete de la distribución (%@) o enlázalo donde una sesión SSH lo "
                          "busca: sudo ln -s %@ /usr/local/bin/mosh-server"),
                {QString::fromStdString(*installCommand), path});
        }
        //: the full path of mosh-server
        return LocalizedFormat::fill(
            Texts::tr("Enlázalo donde una sesión SSH lo busca: sudo ln -s %@ /usr/local/bin/mosh-server"),
            {path});
    }
    return {};
}

QString loginLocaleNotUtf8(Wording wording) {
    switch (wording) {
    case Wording::macos:
        // macOS's sshd sets no locale: only the shell's own files can.
        return Texts::tr("Da un idioma UTF-8 a las sesiones SSH: escribe export LANG=en_US.UTF-8 en "
                         "~/.zshenv.");
    case Wording::linuxSystem:
        return Texts::tr("Pon un idioma UTF-8 por defecto: sudo localectl set-locale LANG=en_US.UTF-8 (si "
                         "no está instalado, antes sudo locale-gen en_US.UTF-8).");
    }
    return {};
}

QString loginLocaleNotInstalled(Wording wording, const QString& name) {
    switch (wording) {
    case Wording::macos:
        //: the locale the session asks for
        return LocalizedFormat::fill(
            Texts::tr("Cambia %@ en tus archivos de la shell (~/.zshenv) por uno de los que lista locale -a, "
                      "como en_US.UTF-8."),
            {name});
    case Wording::linuxSystem:
        //: the locale the session asks for
        return LocalizedFormat::fill(
            Texts::tr("Instálalo: sudo locale-gen %@ (en Debian, antes quita el # de su línea en "
                      "/etc/locale.gen), o pon uno instalado con sudo localectl set-locale."),
            {name});
    }
    return {};
}

} // namespace Companion::PlatformWords
