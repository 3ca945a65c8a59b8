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
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Servidor SSH")},
    //: the package manager: apt, dnf, pacman, zypper
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Instalar con %@")},
    {"Readiness", QT_TRANSLATE_NOOP("Readiness", "Instalar…")},
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
                       "Ningún agente de polkit puede pedir la contraseña de administrador en este "
                       "escritorio. Escribe «%@» en una terminal.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "No puedo escribir en Terminal (permiso de Automatización). He copiado "
                       "«%@»: pégalo en Terminal y pulsa Intro.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "No he podido abrir una terminal. He copiado «%@»: pégalo en una terminal y "
                       "pulsa Intro.")},
    {"SystemActions",
     QT_TRANSLATE_NOOP("SystemActions",
                       "No he podido abrir una terminal ni copiar la orden. Escribe «%@» en una "
                       "terminal y pulsa Intro.")},
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
    {"Main", QT_TRANSLATE_NOOP("Main", "error inesperado: %@")},
    {"StatusCommand", QT_TRANSLATE_NOOP("StatusCommand", "Direcciones")},
    {"StatusCommand", QT_TRANSLATE_NOOP("StatusCommand", "Dirección de malla")},
    {"StatusCommand", QT_TRANSLATE_NOOP("StatusCommand", "ninguna")},
    {"StatusCommand", QT_TRANSLATE_NOOP("StatusCommand", "Uso: nuvexa-companion-cli status [--json]")},
    {"StatusCommand", QT_TRANSLATE_NOOP("StatusCommand", "argumento inesperado %@")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "aviso: %@")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Bonjour: visible en la red local")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Bonjour: no visible en la red local")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Bonjour: aún no visible en la red local")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Avahi: visible en la red local")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Avahi: no visible en la red local")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Avahi: aún no visible en la red local")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Código de emparejamiento: %@")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Puerto: %d")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Escribe el código en la app nuvexa del teléfono.")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "El emparejamiento ha fallado: %@")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand",
                       "El código ya está gastado. Arregla lo que dice el mensaje (el archivo de llaves o "
                       "su carpeta) y vuelve a ejecutar nuvexa-companion-cli pair para obtener un código "
                       "nuevo.")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Emparejado con %@.")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Llave instalada: %@")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand",
                       "nada responde en el puerto 22 de este ordenador: el teléfono puede emparejarse, "
                       "pero no podrá iniciar sesión hasta que funcione un servidor SSH")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand", "La sesión de emparejamiento ha terminado sin ningún teléfono.")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "Emparejamiento cancelado.")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "argumento inesperado %@")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "--port necesita un número de 0 a 65535")},
    {"PairCommand", QT_TRANSLATE_NOOP("PairCommand", "--expiry necesita un número de segundos")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand",
                       "no se escribe ningún registro: %@ es un enlace simbólico; elige otro archivo")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand",
                       "no se escribe ningún registro: %@ no es un archivo normal; elige otro archivo")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand",
                       "no se escribe ningún registro: %@ es de otra cuenta; elige otro archivo")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand", "no se escribe ningún registro: %@ tiene otro nombre (un enlace duro); "
                                      "elige otro archivo")},
    {"PairCommand",
     QT_TRANSLATE_NOOP("PairCommand", "no se escribe ningún registro: otros pueden leer %@ y no se pueden "
                                      "cambiar sus permisos")},
    //: a file or folder, the account it belongs to, the account the phone would log in to
    {"PairingFailureText",
     QT_TRANSLATE_NOOP("PairingFailureText",
                       "%@ es de %@, no de %@, la cuenta con la que entraría el teléfono")},
    {"PairingFailureText", QT_TRANSLATE_NOOP("PairingFailureText", "no hay ningún puerto libre")},
    //: the system's error message
    {"PairingFailureText",
     QT_TRANSLATE_NOOP("PairingFailureText", "no se pueden recibir conexiones del teléfono: %@")},
    {"PairingFailureText", QT_TRANSLATE_NOOP("PairingFailureText", "demasiados códigos incorrectos")},
    //: the system's error message
    {"PairingFailureText",
     QT_TRANSLATE_NOOP("PairingFailureText", "no se ha podido escribir authorized_keys: %@")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "(llave inutilizable)")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "línea %d")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "(anterior)")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "¿Revocar %@ (%@)? Ya no podrá iniciar sesión. [s/N] ")},
    //: the answers that mean yes to the [s/N] question, separated by commas
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "s,sí,si")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "argumento inesperado %@")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "No hay ningún teléfono emparejado.")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "%d llave más en el archivo.")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "%d llaves más en el archivo.")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "nombra un teléfono, por su nombre o su huella")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "ningún teléfono emparejado se llama %@ ni tiene esa huella")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "%@ nombra %d llaves; revoca una por su huella:")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "no hay terminal donde preguntar; añade --yes para revocar %@")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "No se ha revocado nada.")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "%@ revocado: ya no puede iniciar sesión.")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "La llave de %@ también está en estas otras líneas "
                                         "del archivo:")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "la llave de %@ también está en estas otras líneas "
                                         "del archivo; no se ha revocado nada:")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "añade --every-line para quitarlas también y revocar %@")},
    {"DevicesCommand", QT_TRANSLATE_NOOP("DevicesCommand", "¿Revocar %@ (%@)? [s/N] ")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "¿Revocar %@ (%@) y quitar también esas líneas? Ya "
                                         "no podrá iniciar sesión. [s/N] ")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "¿Quitar también esas líneas? Si no, %@ podrá seguir "
                                         "iniciando sesión. [s/N] ")},
    {"DevicesCommand",
     QT_TRANSLATE_NOOP("DevicesCommand", "%@ aún puede iniciar sesión: su llave sigue en estas "
                                         "líneas del archivo:")},
    {"CompanionModel",
     QT_TRANSLATE_NOOP("CompanionModel", "«%@» aún puede iniciar sesión: su llave sigue en la "
                                         "línea %d.")},
    {"CompanionModel",
     QT_TRANSLATE_NOOP("CompanionModel", "«%@» aún puede iniciar sesión: su llave sigue en las "
                                         "líneas %@.")},
    {"KeyDoctor", QT_TRANSLATE_NOOP("KeyDoctor", "aceptada")},
    {"KeyDoctor", QT_TRANSLATE_NOOP("KeyDoctor", "rechazada")},
    {"KeyDoctor", QT_TRANSLATE_NOOP("KeyDoctor", "ningún servidor SSH")},
    {"KeyDoctor", QT_TRANSLATE_NOOP("KeyDoctor", "inalcanzable")},
    {"KeyDoctor", QT_TRANSLATE_NOOP("KeyDoctor", "Huella del servidor SSH: %@")},
    {"DoctorCommand",
     QT_TRANSLATE_NOOP("DoctorCommand",
                       "No hay ningún teléfono emparejado: comprobado lo que no necesita llave.")},
    {"DoctorCommand",
     QT_TRANSLATE_NOOP(
         "DoctorCommand",
         "No se puede saber qué teléfonos están emparejados: comprobado lo que no necesita llave.")},
    {"DoctorCommand", QT_TRANSLATE_NOOP("DoctorCommand", "El servidor SSH responde.")},
    {"DoctorCommand", QT_TRANSLATE_NOOP("DoctorCommand", "argumento inesperado %@")},
    {"DoctorCommand", QT_TRANSLATE_NOOP("DoctorCommand", "no es un puerto: %@")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP(
         "KeyDoctor",
         "No responde ningún servidor SSH: actívalo (en Linux, instala y arranca openssh-server).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "Esta dirección no responde: un cortafuegos o la red bloquea el puerto SSH.")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "El servidor SSH solo escucha en este ordenador: quita ListenAddress de sshd_config o "
                       "añade la dirección de casa (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "El servidor SSH no acepta llaves (PubkeyAuthentication no): pon PubkeyAuthentication "
                       "yes en sshd_config (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "Tu usuario no está en AllowUsers: añádelo en sshd_config (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP(
         "KeyDoctor", "Tu usuario no está en ningún grupo de AllowGroups: añádelo a uno o cambia sshd_config "
                      "(como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "Tu usuario está en DenyUsers: quítalo de sshd_config (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP(
         "KeyDoctor",
         "Un grupo de tu usuario está en DenyGroups: cámbialo en sshd_config (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "El servidor SSH lee las llaves de otro archivo (AuthorizedKeysFile): incluye "
                       ".ssh/authorized_keys en sshd_config (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "Otros pueden escribir en tu carpeta personal y StrictModes la rechaza: ejecuta chmod "
                       "go-w ~")},
    {"KeyDoctor", QT_TRANSLATE_NOOP(
                      "KeyDoctor", "Otros pueden escribir en ~/.ssh o no es tuya: ejecuta chmod 700 ~/.ssh")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "Otros pueden escribir en ~/.ssh/authorized_keys o no es tuyo: ejecuta chmod 600 "
                       "~/.ssh/authorized_keys")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "No puedes leer ~/.ssh/authorized_keys: hazlo legible para ti con chmod 600 "
                       "~/.ssh/authorized_keys")},
    //: the system's own message, such as "Not a directory"
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "No se puede leer ~/.ssh/authorized_keys (%@): arregla eso en el archivo o "
                       "en la carpeta ~/.ssh")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP(
         "KeyDoctor",
         "~/.ssh/authorized_keys no es un archivo normal: debe serlo; apártalo (mv "
         "~/.ssh/authorized_keys ~/.ssh/authorized_keys.aparte) y vuelve a emparejar el teléfono")},
    //: the largest key file read, in MiB
    {"KeyDoctor",
     QT_TRANSLATE_NOOP(
         "KeyDoctor",
         "~/.ssh/authorized_keys ocupa más de %d MiB: ningún archivo de llaves escrito a mano es tan "
         "grande; mira qué lo ha llenado y deja en él solo tus llaves")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP(
         "KeyDoctor",
         "La sesión remota está limitada a otros usuarios: permite el tuyo en Ajustes del Sistema "
         "> General > Compartir > Sesión remota.")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "Un cortafuegos bloquea el puerto 22 (SSH): permítelo (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "Un cortafuegos bloquea los puertos de emparejamiento 52901–52904: permítelos (como "
                       "administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "No funciona ningún servicio DNS-SD: el teléfono no encontrará este ordenador "
                       "por sí solo; en Linux, instala y arranca avahi-daemon.")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP("KeyDoctor",
                       "El servicio DNS-SD no muestra lo que este ordenador anuncia: el teléfono no lo "
                       "encontrará por sí solo; en Linux, revisa allow-interfaces y disable-publishing en "
                       "/etc/avahi/avahi-daemon.conf (como administrador).")},
    {"KeyDoctor",
     QT_TRANSLATE_NOOP(
         "KeyDoctor",
         "El servidor SSH rechaza la llave por otro motivo: mira su registro (journalctl -u ssh o "
         "/var/log/auth.log).")},
    {"KeyDoctor", QT_TRANSLATE_NOOP("KeyDoctor", "La llave funciona: comprobado con el servidor SSH")},
};

} // namespace

std::span<const Text> all() {
    return texts;
}

} // namespace CompanionApp::CompanionTexts
