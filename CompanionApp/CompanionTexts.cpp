#include "CompanionApp/CompanionTexts.h"

#include <QtGlobal>

namespace CompanionApp::CompanionTexts {

namespace {

constexpr Text texts[] = {
    {"KeepAwake",
     QT_TRANSLATE_NOOP("KeepAwake", "No puedo mantener el ordenador despierto: ni el portal del escritorio "
                                    "ni logind responden.")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Inicio de sesión remoto (SSH)")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "activado")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "desactivado")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Activar…")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "no instalado")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Instalar con Homebrew")},
    //: mesh address
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "conectado · %@")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", " · por relé")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "no instalado · fuera de casa hace falta")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Descargar Drozak")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "instalado, sin conexión")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Conectar")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "No encuentro el servidor SSH. Instala el servidor OpenSSH y vuelve a pulsar.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "No encuentro pkexec y systemctl para pedir permiso de administrador.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions", "No se ha podido cambiar el servidor SSH (código %1).")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "No puedo escribir en Terminal (permiso de Automatización). He copiado "
                       "«%@»: pégalo en Terminal y pulsa Intro.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "No encuentro apt, dnf, pacman ni zypper. Instala mosh y tmux con el gestor "
                       "de paquetes de tu sistema y vuelve a pulsar.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions", "Mantener el ordenador despierto para usarlo desde el iPhone")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions", "No se ha podido cambiar el inicio de sesión remoto.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "Homebrew no está instalado. Instálalo desde brew.sh y vuelve a pulsar.")},
    {"TmuxNotifier", QT_TRANSLATE_NOOP("TmuxNotifier", "«%@» ha terminado tras %@.")},
    {"TmuxNotifier", QT_TRANSLATE_NOOP("TmuxNotifier", "nuvexa")},
};

} // namespace

std::span<const Text> all() {
    return texts;
}

} // namespace CompanionApp::CompanionTexts
