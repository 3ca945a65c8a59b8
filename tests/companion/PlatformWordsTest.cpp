#include "Companion/PlatformWords.h"

#include "support/ForeignNames.h"

#include <gtest/gtest.h>

using Companion::Wording;
namespace PlatformWords = Companion::PlatformWords;

namespace {

/// Every text of the table in `wording`'s words, with a package manager found and without one.
std::vector<std::string> everyText(Wording wording) {
    const std::vector<QString> texts{
        PlatformWords::sshServerTitle(wording),
        PlatformWords::installTitle(wording, "apt"),
        PlatformWords::installTitle(wording, std::nullopt),
        PlatformWords::keepAwakeTitle(wording),
        PlatformWords::homeOnlyNote(wording),
        PlatformWords::pairingExplanation(wording),
        PlatformWords::sessionVisible(wording),
        PlatformWords::announcerVisible(wording),
        PlatformWords::announcerNotVisible(wording),
        PlatformWords::announcerNotYetVisible(wording),
        PlatformWords::noSshServer(wording),
        PlatformWords::noDnsSdDaemon(wording),
        PlatformWords::announcementNotSeen(wording),
        PlatformWords::refusedForAnotherReason(wording),
        PlatformWords::moshServerNotInLoginPath(wording, "/opt/mosh/bin/mosh-server",
                                                "sudo apt install mosh"),
        PlatformWords::moshServerNotInLoginPath(wording, "/opt/mosh/bin/mosh-server", std::nullopt),
        PlatformWords::loginLocaleNotUtf8(wording),
        PlatformWords::loginLocaleNotInstalled(wording, "xx_YY.UTF-8")};
    std::vector<std::string> result;
    for (const auto& text : texts) {
        result.push_back(text.toStdString());
    }
    return result;
}

} // namespace

TEST(PlatformWordsTest, LinuxSaysThisComputerTheSshServerAndAvahi) {
    EXPECT_EQ(
        everyText(Wording::linuxSystem),
        (std::vector<std::string>{
            "Servidor SSH",
            "Instalar con apt",
            "Instalar…",
            "Mantener el ordenador despierto",
            "Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en este ordenador y en "
            "el iPhone; entonces aparecerá aquí la dirección de malla.",
            "En nuvexa, toca «Buscar un Mac en la red», elige este ordenador y escribe el código. Tu llave "
            "del iPhone quedará instalada aquí.",
            "Visible en la red local (Avahi)",
            "Avahi: visible en la red local",
            "Avahi: no visible en la red local",
            "Avahi: aún no visible en la red local",
            "No responde ningún servidor SSH: actívalo (en Linux, instala y arranca openssh-server).",
            "No funciona ningún servicio DNS-SD: el teléfono no encontrará este ordenador por sí solo; en "
            "Linux, instala y arranca avahi-daemon.",
            "El servicio DNS-SD no muestra lo que este ordenador anuncia: el teléfono no lo encontrará por "
            "sí solo; en Linux, revisa allow-interfaces y disable-publishing en "
            "/etc/avahi/avahi-daemon.conf (como administrador).",
            "El servidor SSH rechaza la llave por otro motivo: mira su registro (journalctl -u ssh o "
            "/var/log/auth.log).",
            "Instala el paquete de la distribución (sudo apt install mosh) o enlázalo donde una sesión SSH "
            "lo "
            "busca: sudo ln -s /opt/mosh/bin/mosh-server /usr/local/bin/mosh-server",
            "Enlázalo donde una sesión SSH lo busca: sudo ln -s /opt/mosh/bin/mosh-server "
            "/usr/local/bin/mosh-server",
            "Pon un idioma UTF-8 por defecto: sudo localectl set-locale LANG=en_US.UTF-8 (si no está "
            "instalado, antes sudo locale-gen en_US.UTF-8).",
            "Instálalo: sudo locale-gen xx_YY.UTF-8 (en Debian, antes quita el # de su línea en "
            "/etc/locale.gen), o pon uno instalado con sudo localectl set-locale.",
        }));
}

TEST(PlatformWordsTest, MacOSSaysTheMacRemoteLoginHomebrewAndBonjour) {
    EXPECT_EQ(
        everyText(Wording::macos),
        (std::vector<std::string>{
            "Inicio de sesión remoto (SSH)",
            "Instalar con Homebrew",
            "Instalar con Homebrew",
            "Mantener el Mac despierto",
            "Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en el Mac y en el "
            "iPhone; entonces aparecerá aquí la dirección de malla.",
            "En nuvexa, toca «Buscar un Mac en la red», elige este Mac y escribe el código. Tu llave del "
            "iPhone quedará instalada aquí.",
            "Visible en la red local (Bonjour)",
            "Bonjour: visible en la red local",
            "Bonjour: no visible en la red local",
            "Bonjour: aún no visible en la red local",
            "No responde ningún servidor SSH: actívalo en Ajustes del Sistema > General > Compartir > "
            "Sesión remota.",
            "No funciona ningún servicio DNS-SD: el teléfono no encontrará este Mac por sí solo; reinicia "
            "el Mac.",
            "El servicio DNS-SD no muestra lo que este Mac anuncia: el teléfono no lo encontrará por sí "
            "solo; permite a nuvexa Companion usar la red local (Ajustes del Sistema > Privacidad y "
            "seguridad > Red local) y, si sigue igual, reinicia el Mac.",
            "El servidor SSH rechaza la llave por otro motivo: mira su registro (log show --last 1h "
            "--predicate 'process BEGINSWITH \"sshd\"').",
            "Añade su carpeta al PATH de las sesiones SSH: escribe export PATH=\"/opt/mosh/bin:$PATH\" en "
            "~/.zshenv.",
            "Añade su carpeta al PATH de las sesiones SSH: escribe export PATH=\"/opt/mosh/bin:$PATH\" en "
            "~/.zshenv.",
            "Da un idioma UTF-8 a las sesiones SSH: escribe export LANG=en_US.UTF-8 en ~/.zshenv.",
            "Cambia xx_YY.UTF-8 en tus archivos de la shell (~/.zshenv) por uno de los que lista locale -a, "
            "como en_US.UTF-8.",
        }));
}

TEST(PlatformWordsTest, NoLinuxTextNamesTheMacOrItsServices) {
    for (const auto& text : everyText(Wording::linuxSystem)) {
        EXPECT_TRUE(TestSupport::foreignNames(text).empty()) << text;
    }
}

TEST(PlatformWordsTest, NoMacTextNamesLinuxOrItsServices) {
    for (const auto& text : everyText(Wording::macos)) {
        EXPECT_TRUE(TestSupport::linuxNames(text).empty()) << text;
        // Where Linux says this computer, the Mac is named.
        EXPECT_EQ(text.find("ordenador"), std::string::npos) << text;
    }
}
