<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="es">
<context>
    <name>ActivityText</name>
    <message>
        <source>hace un momento</source>
        <translation>just now</translation>
    </message>
    <message>
        <source>hace %d min</source>
        <extracomment>minutes ago, short</extracomment>
        <translation>%d min ago</translation>
    </message>
    <message>
        <source>hace %d h</source>
        <extracomment>hours ago, short</extracomment>
        <translation>%d h ago</translation>
    </message>
    <message>
        <source>hace 1 día</source>
        <translation>1 day ago</translation>
    </message>
    <message>
        <source>hace %d días</source>
        <translation>%d days ago</translation>
    </message>
    <message>
        <source>el %@</source>
        <extracomment>an older login: &quot;on&quot; and the date</extracomment>
        <translation>on %@</translation>
    </message>
    <message>
        <source>último acceso %@ desde %@</source>
        <extracomment>the first %@ is how long ago (&quot;hace 2 h&quot;), the second the address the phone came from</extracomment>
        <translation>last login %@ from %@</translation>
    </message>
    <message>
        <source>rechazado en su último intento, %@ desde %@</source>
        <translation>refused at its last attempt, %@ from %@</translation>
    </message>
    <message>
        <source>no ha iniciado sesión desde que se emparejó</source>
        <translation>has not logged in since it was paired</translation>
    </message>
    <message>
        <source>conectado ahora (SSH)</source>
        <translation>connected now (SSH)</translation>
    </message>
    <message>
        <source>sesión mosh abierta</source>
        <translation>mosh session open</translation>
    </message>
    <message>
        <source>%d sesiones mosh abiertas</source>
        <translation>%d mosh sessions open</translation>
    </message>
    <message>
        <source>Esperando a que el teléfono inicie sesión…</source>
        <translation>Waiting for the phone to log in…</translation>
    </message>
    <message>
        <source>Ha iniciado sesión desde %@</source>
        <translation>Logged in from %@</translation>
    </message>
</context>
<context>
    <name>CommandLine</name>
    <message>
        <source>argumento inesperado %@</source>
        <translation>unexpected argument %@</translation>
    </message>
    <message>
        <source>Muestra esta ayuda.</source>
        <translation>Show this help.</translation>
    </message>
    <message>
        <source>Uso: %@ [opciones]</source>
        <translation>Usage: %@ [options]</translation>
    </message>
    <message>
        <source>Opciones:</source>
        <translation>Options:</translation>
    </message>
    <message>
        <source>Argumentos:</source>
        <translation>Arguments:</translation>
    </message>
    <message>
        <source>opción desconocida %@</source>
        <translation>unknown option %@</translation>
    </message>
    <message>
        <source>opciones desconocidas %@</source>
        <translation>unknown options %@</translation>
    </message>
    <message>
        <source>la línea de órdenes no se entiende</source>
        <translation>the command line makes no sense</translation>
    </message>
    <message>
        <source>%@ no lleva ningún valor</source>
        <translation>%@ takes no value</translation>
    </message>
    <message>
        <source>%@ necesita un valor</source>
        <translation>%@ needs a value</translation>
    </message>
</context>
<context>
    <name>CompanionApp::BusyIndicator</name>
    <message>
        <source>Trabajando…</source>
        <translation>Working…</translation>
    </message>
</context>
<context>
    <name>CompanionApp::CheckRow</name>
    <message>
        <source>%@: listo</source>
        <translation>%@: ready</translation>
    </message>
    <message>
        <source>%@: pendiente</source>
        <translation>%@: not ready</translation>
    </message>
</context>
<context>
    <name>CompanionApp::ContentView</name>
    <message>
        <source>Actualizar</source>
        <translation>Refresh</translation>
    </message>
    <message>
        <source>Registro</source>
        <translation>Log</translation>
    </message>
    <message>
        <source>Salir</source>
        <translation>Quit</translation>
    </message>
    <message>
        <source>nuvexa Companion</source>
        <translation>nuvexa Companion</translation>
    </message>
    <message>
        <source>%@ · usuario %@</source>
        <extracomment>computer name and user</extracomment>
        <translation>%@ · user %@</translation>
    </message>
    <message>
        <source>línea %d: %@</source>
        <translation>line %d: %@</translation>
    </message>
    <message>
        <source>No hay ninguna aplicación para abrir el registro; está en %@</source>
        <translation>No application can open the log; it is at %@</translation>
    </message>
    <message>
        <source>Mantener despierto mientras un teléfono esté conectado</source>
        <translation>Keep awake while a phone is connected</translation>
    </message>
</context>
<context>
    <name>CompanionApp::PairedPhonesSection</name>
    <message>
        <source>Teléfonos emparejados</source>
        <translation>Paired phones</translation>
    </message>
    <message>
        <source> · clave anterior</source>
        <extracomment>shown after the fingerprint of a phone&apos;s earlier key</extracomment>
        <translation> · older key</translation>
    </message>
    <message>
        <source>Revocar…</source>
        <translation>Revoke…</translation>
    </message>
    <message>
        <source>Revocar «%@»…</source>
        <translation>Revoke “%@”…</translation>
    </message>
    <message>
        <source>Último acceso: %@</source>
        <translation>Last login: %@</translation>
    </message>
    <message>
        <source>Último intento rechazado: %@</source>
        <translation>Last attempt refused: %@</translation>
    </message>
</context>
<context>
    <name>CompanionApp::PairingSection</name>
    <message>
        <source>Comprobando la llave con el servidor SSH…</source>
        <translation>Checking the key with the SSH server…</translation>
    </message>
    <message>
        <source>Emparejar con el iPhone</source>
        <translation>Pair with the iPhone</translation>
    </message>
    <message>
        <source>Código para el iPhone</source>
        <translation>Code for the iPhone</translation>
    </message>
    <message>
        <source>Esperando al iPhone en el puerto %d · caduca en %d min</source>
        <translation>Waiting for the iPhone on port %d · expires in %d min</translation>
    </message>
    <message>
        <source>Anunciando en la red local…</source>
        <translation>Announcing on the local network…</translation>
    </message>
    <message>
        <source>Cancelar</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>Emparejado con %@</source>
        <translation>Paired with %@</translation>
    </message>
    <message>
        <source>La llave está en ~/.ssh/authorized_keys. Ya puedes conectar desde nuvexa.</source>
        <translation>The key is in ~/.ssh/authorized_keys. You can now connect from nuvexa.</translation>
    </message>
    <message>
        <source>Emparejar otro</source>
        <translation>Pair another</translation>
    </message>
    <message>
        <source>Para emparejar, activa antes el inicio de sesión remoto (SSH), más arriba.</source>
        <translation>To pair, first turn on remote login (SSH), above.</translation>
    </message>
</context>
<context>
    <name>CompanionApp::RevokeConfirmation</name>
    <message>
        <source>¿Revocar «%@»? Ya no podrá iniciar sesión en este ordenador.</source>
        <translation>Revoke “%@”? It will no longer be able to log in to this computer.</translation>
    </message>
    <message>
        <source>¿Revocar «%@»? Su llave también está en otras líneas del archivo:
%@
Si no las quitas, podrá seguir iniciando sesión en este ordenador.</source>
        <translation>Revoke “%@”? Its key is also on other lines of the file:
%@
Unless you remove them, it can still log in to this computer.</translation>
    </message>
    <message>
        <source>¿Quitar el acceso de «%@» a este ordenador?</source>
        <translation>Remove the access of “%@” to this computer?</translation>
    </message>
    <message>
        <source>Su llave se quitará de ~/.ssh/authorized_keys. Para volver a conectar desde ese teléfono habrá que emparejarlo de nuevo.</source>
        <translation>Its key will be removed from ~/.ssh/authorized_keys. To connect from that phone again, pair it again.</translation>
    </message>
    <message>
        <source>Revocar</source>
        <translation>Revoke</translation>
    </message>
    <message>
        <source>Revocar y quitarlas</source>
        <translation>Revoke and remove them</translation>
    </message>
    <message>
        <source>Solo su línea</source>
        <translation>Only its line</translation>
    </message>
    <message>
        <source>Cancelar</source>
        <translation>Cancel</translation>
    </message>
</context>
<context>
    <name>CompanionApp::StatusSymbol</name>
    <message>
        <source>Listo</source>
        <translation>Ready</translation>
    </message>
    <message>
        <source>Pendiente</source>
        <translation>Not ready</translation>
    </message>
    <message>
        <source>Visible en la red local</source>
        <translation>Visible on the local network</translation>
    </message>
    <message>
        <source>En espera</source>
        <translation>Waiting</translation>
    </message>
    <message>
        <source>Emparejamiento completado</source>
        <translation>Pairing complete</translation>
    </message>
</context>
<context>
    <name>CompanionApp::WatchRow</name>
    <message>
        <source>Avisarme cuando termine algo largo</source>
        <translation>Notify me when something long finishes</translation>
    </message>
    <message>
        <source>Necesita tmux y la sesión persistente de nuvexa.</source>
        <translation>Needs tmux and nuvexa’s persistent session.</translation>
    </message>
    <message>
        <source>vigilando «%@»</source>
        <translation>watching “%@”</translation>
    </message>
    <message>
        <source>nada en marcha en la sesión nuvexa</source>
        <translation>nothing running in the nuvexa session</translation>
    </message>
    <message>
        <source>Ningún servicio de notificaciones responde: el aviso solo se verá aquí.</source>
        <translation>No notification service answers: the alert will only show here.</translation>
    </message>
    <message>
        <source>Sin permiso de notificaciones: el aviso solo se verá aquí.</source>
        <translation>Notifications are not allowed: the alert will only show here.</translation>
    </message>
</context>
<context>
    <name>CompanionModel</name>
    <message>
        <source>«%@» aún puede iniciar sesión: su llave sigue en la línea %d.</source>
        <translation>“%@” can still log in: its key is still on line %d.</translation>
    </message>
    <message>
        <source>«%@» aún puede iniciar sesión: su llave sigue en las líneas %@.</source>
        <translation>“%@” can still log in: its key is still on lines %@.</translation>
    </message>
    <message>
        <source>«%@» ha iniciado sesión desde %@.</source>
        <translation>“%@” has logged in from %@.</translation>
    </message>
    <message>
        <source>nuvexa</source>
        <translation>nuvexa</translation>
    </message>
</context>
<context>
    <name>DatagramProof</name>
    <message>
        <source>Todos los puertos UDP de mosh (60000–61000) están ocupados: mosh-server no podrá recibir al iPhone.</source>
        <translation>Every mosh UDP port (60000–61000) is taken: mosh-server will not be able to receive the iPhone.</translation>
    </message>
    <message>
        <source>Cierra las sesiones de mosh que ya no uses (mosh-server sigue abierto hasta que su sesión termina).</source>
        <translation>Close the mosh sessions you no longer use (mosh-server stays open until its session ends).</translation>
    </message>
    <message>
        <source>Un datagrama UDP enviado al puerto %d de este ordenador (%@) no ha llegado en %d ms: un cortafuegos de este ordenador descarta el tráfico de mosh.</source>
        <translation>A UDP datagram sent to port %d of this computer (%@) did not arrive within %d ms: a firewall on this computer drops mosh’s traffic.</translation>
    </message>
    <message>
        <source>Deja pasar el UDP entrante de los puertos 60000–61000 en el cortafuegos de este ordenador y vuelve a comprobarlo.</source>
        <translation>Let incoming UDP on ports 60000–61000 through this computer’s firewall and check again.</translation>
    </message>
</context>
<context>
    <name>DevicesCommand</name>
    <message>
        <source>(llave inutilizable)</source>
        <translation>(unusable key)</translation>
    </message>
    <message>
        <source>línea %d</source>
        <translation>line %d</translation>
    </message>
    <message>
        <source>(anterior)</source>
        <translation>(older)</translation>
    </message>
    <message>
        <source>¿Revocar %@ (%@)? Ya no podrá iniciar sesión. [s/N] </source>
        <translation>Revoke %@ (%@)? It will no longer be able to log in. [y/N] </translation>
    </message>
    <message>
        <source>s,sí,si</source>
        <extracomment>the answers that mean yes to the [s/N] question, separated by commas</extracomment>
        <translation>y,yes</translation>
    </message>
    <message>
        <source>No hay ningún teléfono emparejado.</source>
        <translation>No phone is paired.</translation>
    </message>
    <message>
        <source>%d llave más en el archivo.</source>
        <translation>%d other key in the file.</translation>
    </message>
    <message>
        <source>%d llaves más en el archivo.</source>
        <translation>%d other keys in the file.</translation>
    </message>
    <message>
        <source>nombra un teléfono, por su nombre o su huella</source>
        <translation>name one phone, by name or fingerprint</translation>
    </message>
    <message>
        <source>ningún teléfono emparejado se llama %@ ni tiene esa huella</source>
        <translation>no paired phone is called or has the fingerprint %@</translation>
    </message>
    <message>
        <source>%@ nombra %d llaves; revoca una por su huella:</source>
        <translation>%@ names %d keys; revoke one by its fingerprint:</translation>
    </message>
    <message>
        <source>no hay terminal donde preguntar; añade --yes para revocar %@</source>
        <translation>not a terminal to ask on; add --yes to revoke %@</translation>
    </message>
    <message>
        <source>No se ha revocado nada.</source>
        <translation>Nothing revoked.</translation>
    </message>
    <message>
        <source>%@ revocado: ya no puede iniciar sesión.</source>
        <translation>Revoked %@: it can no longer log in.</translation>
    </message>
    <message>
        <source>La llave de %@ también está en estas otras líneas del archivo:</source>
        <translation>The key of %@ is also on these other lines of the file:</translation>
    </message>
    <message>
        <source>la llave de %@ también está en estas otras líneas del archivo; no se ha revocado nada:</source>
        <translation>the key of %@ is also on these other lines of the file; nothing revoked:</translation>
    </message>
    <message>
        <source>añade --every-line para quitarlas también y revocar %@</source>
        <translation>add --every-line to remove them too and revoke %@</translation>
    </message>
    <message>
        <source>¿Revocar %@ (%@)? [s/N] </source>
        <translation>Revoke %@ (%@)? [y/N] </translation>
    </message>
    <message>
        <source>¿Revocar %@ (%@) y quitar también esas líneas? Ya no podrá iniciar sesión. [s/N] </source>
        <translation>Revoke %@ (%@) and remove those lines too? It will no longer be able to log in. [y/N] </translation>
    </message>
    <message>
        <source>¿Quitar también esas líneas? Si no, %@ podrá seguir iniciando sesión. [s/N] </source>
        <translation>Remove those lines too? If not, %@ will still be able to log in. [y/N] </translation>
    </message>
    <message>
        <source>%@ aún puede iniciar sesión: su llave sigue en estas líneas del archivo:</source>
        <translation>%@ can still log in: its key is still on these lines of the file:</translation>
    </message>
    <message>
        <source>Lee &lt;archivo&gt; en lugar de ~/.ssh/authorized_keys.</source>
        <translation>Read &lt;file&gt; instead of ~/.ssh/authorized_keys.</translation>
    </message>
    <message>
        <source>archivo</source>
        <translation>file</translation>
    </message>
    <message>
        <source>%@ no existe</source>
        <translation>%@ does not exist</translation>
    </message>
    <message>
        <source>Teléfono</source>
        <translation>Phone</translation>
    </message>
    <message>
        <source>Tipo de llave</source>
        <translation>Key type</translation>
    </message>
    <message>
        <source>En el archivo</source>
        <translation>In the file</translation>
    </message>
    <message>
        <source>Lista los teléfonos que pueden iniciar sesión en esta cuenta.</source>
        <translation>Lists the phones that can log in to this account.</translation>
    </message>
    <message>
        <source>Escribe un objeto JSON en lugar de texto.</source>
        <translation>Write one JSON object instead of text.</translation>
    </message>
    <message>
        <source>Estado de salida: 0 listado, también cuando no hay ningún teléfono (sin --authorized-keys, un archivo de llaves que no existe no tiene ninguno); 1 el archivo no existe o no se puede leer; 2 error de uso.</source>
        <translation>Exit status: 0 listed, also when there is no phone (without --authorized-keys, a key file that does not exist has none); 1 the file does not exist or cannot be read; 2 usage error.</translation>
    </message>
    <message>
        <source>Quita la llave de un teléfono emparejado, para que ya no pueda iniciar sesión.</source>
        <translation>Removes a paired phone&apos;s key, so the phone can no longer log in.</translation>
    </message>
    <message>
        <source>teléfono</source>
        <translation>phone</translation>
    </message>
    <message>
        <source>El nombre del teléfono, o la huella de su llave (SHA256:…).</source>
        <translation>The phone&apos;s name, or its key&apos;s fingerprint (SHA256:…).</translation>
    </message>
    <message>
        <source>No pide confirmación.</source>
        <translation>Do not ask for confirmation.</translation>
    </message>
    <message>
        <source>Quita también las otras líneas del archivo que tienen la llave del teléfono, sean cuales sean sus opciones o su comentario. Sin ella, revoke se niega cuando hay tales líneas y se da --yes, y pregunta por ellas si no.</source>
        <translation>Also remove the file&apos;s other lines that hold the phone&apos;s key, whatever their options or comment. Without it, revoke refuses when such lines exist and --yes is given, and asks about them otherwise.</translation>
    </message>
    <message>
        <source>Estado de salida: 0 revocado, la llave del teléfono ya no está en ninguna línea del archivo; 1 nada coincide, negado, fallido, o la llave sigue en alguna línea del archivo (se nombran las líneas); 2 error de uso.</source>
        <translation>Exit status: 0 revoked, the phone&apos;s key is on no line of the file any more; 1 nothing matched, refused, failed, or the key is still on some line of the file (the lines are named); 2 usage error.</translation>
    </message>
</context>
<context>
    <name>DoctorCommand</name>
    <message>
        <source>No hay ningún teléfono emparejado: comprobado lo que no necesita llave.</source>
        <translation>No phone is paired: checked what needs no key.</translation>
    </message>
    <message>
        <source>No se puede saber qué teléfonos están emparejados: comprobado lo que no necesita llave.</source>
        <translation>The paired phones cannot be known: checked what needs no key.</translation>
    </message>
    <message>
        <source>El servidor SSH responde.</source>
        <translation>The SSH server answers.</translation>
    </message>
    <message>
        <source>no es un puerto: %@</source>
        <translation>not a port: %@</translation>
    </message>
    <message>
        <source>Escribe un objeto JSON en lugar de texto.</source>
        <translation>Write one JSON object instead of text.</translation>
    </message>
    <message>
        <source>Lee &lt;archivo&gt; en lugar de ~/.ssh/authorized_keys.</source>
        <translation>Read &lt;file&gt; instead of ~/.ssh/authorized_keys.</translation>
    </message>
    <message>
        <source>archivo</source>
        <translation>file</translation>
    </message>
    <message>
        <source>Pregunta al servidor SSH en &lt;puerto&gt; en lugar del 22.</source>
        <translation>Ask the SSH server on &lt;port&gt; instead of 22.</translation>
    </message>
    <message>
        <source>puerto</source>
        <translation>port</translation>
    </message>
    <message>
        <source>Lee los ajustes del servidor de &lt;archivo&gt;.</source>
        <translation>Read the server&apos;s settings from &lt;file&gt;.</translation>
    </message>
    <message>
        <source>Estado de salida: 0 nada de lo encontrado deja fuera a un teléfono emparejado; 1 algo lo deja fuera (entre ello un archivo de llaves que no se puede leer); 2 error de uso.</source>
        <translation>Exit status: 0 nothing found keeps a paired phone out; 1 something does (a key file that cannot be read among them); 2 usage error.</translation>
    </message>
    <message>
        <source>Último acceso %@ desde %@.</source>
        <translation>Last login %@ from %@.</translation>
    </message>
    <message>
        <source>No ha iniciado sesión desde que se emparejó, según los registros del servidor SSH.</source>
        <translation>Has not logged in since it was paired, according to the SSH server&apos;s records.</translation>
    </message>
    <message>
        <source>Su último intento fue rechazado (%@, desde %@): el servidor SSH no aceptó la llave.</source>
        <translation>Its last attempt was refused (%@, from %@): the SSH server did not accept the key.</translation>
    </message>
    <message>
        <source>Otros caminos de entrada (mosh):</source>
        <translation>Other ways in (mosh):</translation>
    </message>
    <message>
        <source>Pregunta al servidor SSH si acepta la llave de cada teléfono emparejado y nombra qué arreglar; luego mira si una sesión SSH encuentra mosh-server, su idioma y si mosh-server arranca en ella. No cambia nada.</source>
        <translation>Asks the SSH server whether it accepts each paired phone&apos;s key, and names what to fix; then looks at whether an SSH session finds mosh-server, its locale and whether mosh-server starts in it. Changes nothing.</translation>
    </message>
</context>
<context>
    <name>KeepAwake</name>
    <message>
        <source>No puedo mantener el ordenador despierto: ni el portal del escritorio ni logind responden.</source>
        <translation>Cannot keep the computer awake: neither the desktop portal nor logind answers.</translation>
    </message>
</context>
<context>
    <name>KeyDoctor</name>
    <message>
        <source>La sesión remota está limitada a otros usuarios: permite el tuyo en Ajustes del Sistema &gt; General &gt; Compartir &gt; Sesión remota.</source>
        <translation>Remote Login is limited to other users: allow yours in System Settings &gt; General &gt; Sharing &gt; Remote Login.</translation>
    </message>
    <message>
        <source>Un cortafuegos bloquea el puerto 22 (SSH): permítelo (como administrador).</source>
        <translation>A firewall blocks port 22 (SSH): allow it (as administrator).</translation>
    </message>
    <message>
        <source>Un cortafuegos bloquea los puertos de emparejamiento 52901–52904: permítelos (como administrador).</source>
        <translation>A firewall blocks the pairing ports 52901–52904: allow them (as administrator).</translation>
    </message>
    <message>
        <source>La llave funciona: comprobado con el servidor SSH</source>
        <translation>The key works: checked with the SSH server</translation>
    </message>
    <message>
        <source>Esta dirección no responde: un cortafuegos o la red bloquea el puerto SSH.</source>
        <translation>This address does not answer: a firewall or the network blocks the SSH port.</translation>
    </message>
    <message>
        <source>El servidor SSH solo escucha en este ordenador: quita ListenAddress de sshd_config o añade la dirección de casa (como administrador).</source>
        <translation>The SSH server listens on this computer only: remove ListenAddress from sshd_config or add the home address (as administrator).</translation>
    </message>
    <message>
        <source>El servidor SSH no acepta llaves (PubkeyAuthentication no): pon PubkeyAuthentication yes en sshd_config (como administrador).</source>
        <translation>The SSH server accepts no keys (PubkeyAuthentication no): set PubkeyAuthentication yes in sshd_config (as administrator).</translation>
    </message>
    <message>
        <source>Tu usuario no está en AllowUsers: añádelo en sshd_config (como administrador).</source>
        <translation>Your user is not in AllowUsers: add it in sshd_config (as administrator).</translation>
    </message>
    <message>
        <source>Tu usuario no está en ningún grupo de AllowGroups: añádelo a uno o cambia sshd_config (como administrador).</source>
        <translation>Your user is in no group of AllowGroups: add it to one or change sshd_config (as administrator).</translation>
    </message>
    <message>
        <source>Tu usuario está en DenyUsers: quítalo de sshd_config (como administrador).</source>
        <translation>Your user is in DenyUsers: remove it from sshd_config (as administrator).</translation>
    </message>
    <message>
        <source>Un grupo de tu usuario está en DenyGroups: cámbialo en sshd_config (como administrador).</source>
        <translation>A group of your user is in DenyGroups: change it in sshd_config (as administrator).</translation>
    </message>
    <message>
        <source>El servidor SSH lee las llaves de otro archivo (AuthorizedKeysFile): incluye .ssh/authorized_keys en sshd_config (como administrador).</source>
        <translation>The SSH server reads keys from another file (AuthorizedKeysFile): include .ssh/authorized_keys in sshd_config (as administrator).</translation>
    </message>
    <message>
        <source>Otros pueden escribir en tu carpeta personal y StrictModes la rechaza: ejecuta chmod go-w ~</source>
        <translation>Others can write to your home folder and StrictModes refuses it: run chmod go-w ~</translation>
    </message>
    <message>
        <source>Otros pueden escribir en ~/.ssh o no es tuya: ejecuta chmod 700 ~/.ssh</source>
        <translation>Others can write to ~/.ssh or it is not yours: run chmod 700 ~/.ssh</translation>
    </message>
    <message>
        <source>Otros pueden escribir en ~/.ssh/authorized_keys o no es tuyo: ejecuta chmod 600 ~/.ssh/authorized_keys</source>
        <translation>Others can write to ~/.ssh/authorized_keys or it is not yours: run chmod 600 ~/.ssh/authorized_keys</translation>
    </message>
    <message>
        <source>No puedes leer ~/.ssh/authorized_keys: hazlo legible para ti con chmod 600 ~/.ssh/authorized_keys</source>
        <translation>You cannot read ~/.ssh/authorized_keys: make it readable by you with chmod 600 ~/.ssh/authorized_keys</translation>
    </message>
    <message>
        <source>No se puede leer ~/.ssh/authorized_keys (%@): arregla eso en el archivo o en la carpeta ~/.ssh</source>
        <extracomment>the system&apos;s own message, such as &quot;Not a directory&quot;</extracomment>
        <translation>Cannot read ~/.ssh/authorized_keys (%@): fix that in the file or in the folder ~/.ssh</translation>
    </message>
    <message>
        <source>~/.ssh/authorized_keys no es un archivo normal: debe serlo; apártalo (mv ~/.ssh/authorized_keys ~/.ssh/authorized_keys.aparte) y vuelve a emparejar el teléfono</source>
        <translation>~/.ssh/authorized_keys is not a regular file: it must be one; move it aside (mv ~/.ssh/authorized_keys ~/.ssh/authorized_keys.aside) and pair the phone again</translation>
    </message>
    <message>
        <source>~/.ssh/authorized_keys ocupa más de %d MiB: ningún archivo de llaves escrito a mano es tan grande; mira qué lo ha llenado y deja en él solo tus llaves</source>
        <extracomment>the largest key file read, in MiB</extracomment>
        <translation>~/.ssh/authorized_keys is larger than %d MiB: no keys file written by hand is that large; find out what filled it and leave only your keys in it</translation>
    </message>
    <message>
        <source>aceptada</source>
        <translation>accepted</translation>
    </message>
    <message>
        <source>rechazada</source>
        <translation>refused</translation>
    </message>
    <message>
        <source>ningún servidor SSH</source>
        <translation>no SSH server</translation>
    </message>
    <message>
        <source>inalcanzable</source>
        <translation>unreachable</translation>
    </message>
    <message>
        <source>Huella del servidor SSH: %@</source>
        <translation>SSH server fingerprint: %@</translation>
    </message>
</context>
<context>
    <name>ListenAddressCheck</name>
    <message>
        <source>El servidor SSH solo escucha en %@, no en la dirección de malla %@: el iPhone no podrá entrar fuera de casa.</source>
        <translation>The SSH server only listens on %@, not on the mesh address %@: the iPhone cannot get in away from home.</translation>
    </message>
    <message>
        <source>Añade «ListenAddress %@» a la configuración del servidor SSH (o quita sus líneas ListenAddress) y reinícialo.</source>
        <translation>Add “ListenAddress %@” to the SSH server’s configuration (or remove its ListenAddress lines) and restart it.</translation>
    </message>
</context>
<context>
    <name>LogAccessText</name>
    <message>
        <source>Para ver los inicios de sesión, añade tu usuario al grupo adm o systemd-journal con «sudo usermod -aG adm %@» y vuelve a iniciar sesión.</source>
        <extracomment>%@ is the login name in the command</extracomment>
        <translation>To see logins, add your user to the group adm or systemd-journal with «sudo usermod -aG adm %@» and log in again.</translation>
    </message>
    <message>
        <source>Para ver los inicios de sesión, haz que el sistema guarde los registros del servidor SSH (systemd-journald o rsyslog en /var/log/auth.log).</source>
        <translation>To see logins, have the system keep the SSH server’s records (systemd-journald, or rsyslog in /var/log/auth.log).</translation>
    </message>
    <message>
        <source>Para ver los inicios de sesión, usa una cuenta de administrador: macOS solo deja leer el registro del sistema a los administradores.</source>
        <translation>To see logins, use an administrator account: macOS lets only administrators read the system log.</translation>
    </message>
</context>
<context>
    <name>Main</name>
    <message>
        <source>error inesperado: %@</source>
        <translation>unexpected error: %@</translation>
    </message>
    <message>
        <source>Opciones:</source>
        <translation>Options:</translation>
    </message>
    <message>
        <source>Muestra esta ayuda.</source>
        <translation>Show this help.</translation>
    </message>
    <message>
        <source>Muestra la versión.</source>
        <translation>Show the version.</translation>
    </message>
    <message>
        <source>Órdenes:</source>
        <translation>Commands:</translation>
    </message>
    <message>
        <source>Hace una sesión de emparejamiento en este terminal.</source>
        <translation>Run one pairing session in this terminal.</translation>
    </message>
    <message>
        <source>Muestra si este ordenador está listo para el teléfono.</source>
        <translation>Show whether this computer is ready for the phone.</translation>
    </message>
    <message>
        <source>Lista los teléfonos que pueden iniciar sesión.</source>
        <translation>List the phones that can log in.</translation>
    </message>
    <message>
        <source>Quita el acceso a un teléfono.</source>
        <translation>Take a phone&apos;s access away.</translation>
    </message>
    <message>
        <source>Comprueba con el servidor SSH que un teléfono emparejado entra.</source>
        <translation>Check with the SSH server that a paired phone gets in.</translation>
    </message>
    <message>
        <source>Muestra esta ayuda, o la de la orden que se nombre.</source>
        <translation>Show this help, or the help of the command named.</translation>
    </message>
    <message>
        <source>Uso: %@ [opciones] orden</source>
        <translation>Usage: %@ [options] command</translation>
    </message>
    <message>
        <source>Hace que la app nuvexa del teléfono pueda llegar a este ordenador, desde un terminal.</source>
        <translation>Makes this computer reachable from the nuvexa phone app, from a terminal.</translation>
    </message>
    <message>
        <source>«nuvexa-companion-cli help ORDEN» muestra la ayuda de una orden.
Estado de salida: el de la orden (0 hecho, 1 la respuesta es no, 130 interrumpida con Ctrl-C); 2 error de uso.</source>
        <translation>“nuvexa-companion-cli help COMMAND” shows the help of a command.
Exit status: the command&apos;s (0 done, 1 the answer is no, 130 interrupted with Ctrl-C); 2 usage error.</translation>
    </message>
    <message>
        <source>«nuvexa-companion-cli help» lista las órdenes.</source>
        <translation>“nuvexa-companion-cli help” lists the commands.</translation>
    </message>
    <message>
        <source>orden desconocida %@</source>
        <translation>unknown command %@</translation>
    </message>
    <message>
        <source>argumento inesperado %@</source>
        <translation>unexpected argument %@</translation>
    </message>
    <message>
        <source>opción desconocida %@</source>
        <translation>unknown option %@</translation>
    </message>
</context>
<context>
    <name>MoshFirewall</name>
    <message>
        <source>El cortafuegos (%@) descarta el UDP de mosh (puertos 60000–61000) con estas reglas: %@.</source>
        <translation>The firewall (%@) drops mosh’s UDP (ports 60000–61000) with these rules: %@.</translation>
    </message>
    <message>
        <source>Deja pasar el UDP de mosh con «%@».</source>
        <translation>Let mosh’s UDP through with “%@”.</translation>
    </message>
    <message>
        <source>No he podido leer las reglas del cortafuegos (%@): solo el administrador puede. No sé si dejan pasar el UDP de mosh (puertos 60000–61000).</source>
        <translation>I could not read the firewall’s rules (%@): only the administrator can. I do not know whether they let mosh’s UDP (ports 60000–61000) through.</translation>
    </message>
    <message>
        <source>Revísalas con «%@».</source>
        <translation>Check them with “%@”.</translation>
    </message>
    <message>
        <source>La zona «%@» de firewalld no deja pasar el UDP de mosh (puertos 60000–61000).</source>
        <translation>firewalld’s zone “%@” does not let mosh’s UDP (ports 60000–61000) through.</translation>
    </message>
    <message>
        <source>Permite mosh-server con «%@».</source>
        <translation>Allow mosh-server with “%@”.</translation>
    </message>
    <message>
        <source>El cortafuegos del Mac bloquea las conexiones entrantes de mosh-server (%@).</source>
        <translation>The Mac’s firewall blocks incoming connections to mosh-server (%@).</translation>
    </message>
    <message>
        <source>El cortafuegos del Mac aún no conoce mosh-server (%@): preguntará en la pantalla del Mac la primera vez, y hasta que alguien responda el iPhone no podrá conectarse con mosh.</source>
        <translation>The Mac’s firewall does not know mosh-server (%@) yet: it will ask on the Mac’s screen the first time, and until someone answers the iPhone cannot connect with mosh.</translation>
    </message>
</context>
<context>
    <name>PairCommand</name>
    <message>
        <source>aviso: %@</source>
        <translation>warning: %@</translation>
    </message>
    <message>
        <source>Código de emparejamiento: %@</source>
        <translation>Pairing code: %@</translation>
    </message>
    <message>
        <source>Puerto: %d</source>
        <translation>Port: %d</translation>
    </message>
    <message>
        <source>El emparejamiento ha fallado: %@</source>
        <translation>Pairing failed: %@</translation>
    </message>
    <message>
        <source>El código ya está gastado. Arregla lo que dice el mensaje (el archivo de llaves o su carpeta) y vuelve a ejecutar nuvexa-companion-cli pair para obtener un código nuevo.</source>
        <translation>The code is used up. Fix what the message names (the key file or its folder), then run nuvexa-companion-cli pair again for a new code.</translation>
    </message>
    <message>
        <source>Emparejado con %@.</source>
        <translation>Paired with %@.</translation>
    </message>
    <message>
        <source>Llave instalada: %@</source>
        <translation>Key installed: %@</translation>
    </message>
    <message>
        <source>nada responde en el puerto 22 de este ordenador: el teléfono puede emparejarse, pero no podrá iniciar sesión hasta que funcione un servidor SSH</source>
        <translation>nothing answers on port 22 of this computer: the phone can pair, but cannot log in until an SSH server runs</translation>
    </message>
    <message>
        <source>La sesión de emparejamiento ha terminado sin ningún teléfono.</source>
        <translation>The pairing session ended without a phone.</translation>
    </message>
    <message>
        <source>Emparejamiento cancelado.</source>
        <translation>Pairing cancelled.</translation>
    </message>
    <message>
        <source>--port necesita un número de 0 a 65535</source>
        <translation>--port needs a number from 0 to 65535</translation>
    </message>
    <message>
        <source>--expiry necesita un número de segundos</source>
        <translation>--expiry needs a number of seconds</translation>
    </message>
    <message>
        <source>no se escribe ningún registro: %@ es un enlace simbólico; elige otro archivo</source>
        <translation>no log is written: %@ is a symbolic link; choose another file</translation>
    </message>
    <message>
        <source>no se escribe ningún registro: %@ no es un archivo normal; elige otro archivo</source>
        <translation>no log is written: %@ is not a regular file; choose another file</translation>
    </message>
    <message>
        <source>no se escribe ningún registro: %@ es de otra cuenta; elige otro archivo</source>
        <translation>no log is written: %@ belongs to another account; choose another file</translation>
    </message>
    <message>
        <source>no se escribe ningún registro: %@ tiene otro nombre (un enlace duro); elige otro archivo</source>
        <translation>no log is written: %@ has another name (a hard link); choose another file</translation>
    </message>
    <message>
        <source>no se escribe ningún registro: otros pueden leer %@ y no se pueden cambiar sus permisos</source>
        <translation>no log is written: others can read %@ and its permissions cannot be changed</translation>
    </message>
    <message>
        <source>Direcciones: %@</source>
        <translation>Addresses: %@</translation>
    </message>
    <message>
        <source>Escribe el código en la app nuvexa del teléfono; si no encuentra este ordenador, escribe en ella una de las direcciones y el puerto.</source>
        <translation>Type the code into the nuvexa app on the phone; if it does not find this computer, type one of the addresses and the port into it.</translation>
    </message>
    <message>
        <source>Hace una sesión de emparejamiento: muestra un código de un solo uso, espera a que la app nuvexa del teléfono lo envíe con su llave SSH e instala esa llave para este usuario.</source>
        <translation>Runs one pairing session: shows a one-time code, waits for the nuvexa app on the phone to send it with its SSH key, and installs that key for this user.</translation>
    </message>
    <message>
        <source>Escribe un objeto JSON por línea para cada cambio, en lugar de texto.</source>
        <translation>Write one JSON object per line for every change, instead of text.</translation>
    </message>
    <message>
        <source>No anuncia la sesión en la red local; el teléfono necesita entonces que se le escriba la dirección de este ordenador.</source>
        <translation>Do not announce the session on the local network; the phone then needs this computer&apos;s address typed in.</translation>
    </message>
    <message>
        <source>Instala la llave en &lt;archivo&gt; en lugar de ~/.ssh/authorized_keys.</source>
        <translation>Install the key into &lt;file&gt; instead of ~/.ssh/authorized_keys.</translation>
    </message>
    <message>
        <source>archivo</source>
        <translation>file</translation>
    </message>
    <message>
        <source>Añade el registro a &lt;archivo&gt; en lugar de al sitio de siempre.</source>
        <translation>Append the log to &lt;file&gt; instead of the usual place.</translation>
    </message>
    <message>
        <source>Escribe también las líneas del registro en la salida de errores.</source>
        <translation>Also write the log&apos;s lines to standard error.</translation>
    </message>
    <message>
        <source>Estado de salida: 0 emparejado; 1 la sesión terminó sin teléfono o falló; 2 error de uso; 130 interrumpida con Ctrl-C.</source>
        <translation>Exit status: 0 paired; 1 the session ended without a phone or failed; 2 usage error; 130 interrupted with Ctrl-C.</translation>
    </message>
    <message>
        <source>--ssh-port necesita un número de 1 a 65535</source>
        <translation>--ssh-port needs a number from 1 to 65535</translation>
    </message>
    <message>
        <source>El teléfono aún no ha iniciado sesión; nuvexa-companion-cli devices lo mostrará cuando lo haga.</source>
        <translation>The phone has not logged in yet; nuvexa-companion-cli devices will show it when it does.</translation>
    </message>
    <message>
        <source>Termina en cuanto el teléfono se empareja, sin esperar a que inicie sesión.</source>
        <translation>Ends as soon as the phone has paired, without waiting for it to log in.</translation>
    </message>
    <message>
        <source>nuvexa</source>
        <translation>nuvexa</translation>
    </message>
    <message>
        <source>«%@» ha iniciado sesión desde %@.</source>
        <translation>“%@” has logged in from %@.</translation>
    </message>
</context>
<context>
    <name>PairingFailureText</name>
    <message>
        <source>%@ es de %@, no de %@, la cuenta con la que entraría el teléfono</source>
        <extracomment>a file or folder, the account it belongs to, the account the phone would log in to</extracomment>
        <translation>%@ belongs to %@, not to %@, the account the phone would log in to</translation>
    </message>
    <message>
        <source>no hay ningún puerto libre</source>
        <translation>no free port</translation>
    </message>
    <message>
        <source>no se pueden recibir conexiones del teléfono: %@</source>
        <extracomment>the system&apos;s error message</extracomment>
        <translation>cannot accept connections from the phone: %@</translation>
    </message>
    <message>
        <source>demasiados códigos incorrectos</source>
        <translation>too many wrong codes</translation>
    </message>
    <message>
        <source>no se ha podido escribir authorized_keys: %@</source>
        <extracomment>the system&apos;s error message</extracomment>
        <translation>could not write authorized_keys: %@</translation>
    </message>
</context>
<context>
    <name>PlatformWords</name>
    <message>
        <source>Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en el Mac y en el iPhone; entonces aparecerá aquí la dirección de malla.</source>
        <translation>Home addresses only. Away from home you need Drozak or Tailscale on the Mac and on the iPhone; the mesh address will then appear here.</translation>
    </message>
    <message>
        <source>Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en este ordenador y en el iPhone; entonces aparecerá aquí la dirección de malla.</source>
        <translation>Home addresses only. Away from home you need Drozak or Tailscale on this computer and on the iPhone; the mesh address will then appear here.</translation>
    </message>
    <message>
        <source>Mantener el Mac despierto</source>
        <translation>Keep the Mac awake</translation>
    </message>
    <message>
        <source>Mantener el ordenador despierto</source>
        <translation>Keep the computer awake</translation>
    </message>
    <message>
        <source>En nuvexa, toca «Buscar un Mac en la red», elige este Mac y escribe el código. Tu llave del iPhone quedará instalada aquí.</source>
        <translation>In nuvexa, tap “Find a Mac on the network”, choose this Mac and type the code. Your iPhone’s key will be installed here.</translation>
    </message>
    <message>
        <source>En nuvexa, toca «Buscar un Mac en la red», elige este ordenador y escribe el código. Tu llave del iPhone quedará instalada aquí.</source>
        <translation>In nuvexa, tap “Find a Mac on the network”, choose this computer and type the code. Your iPhone’s key will be installed here.</translation>
    </message>
    <message>
        <source>Visible en la red local (Bonjour)</source>
        <translation>Visible on the local network (Bonjour)</translation>
    </message>
    <message>
        <source>Visible en la red local (Avahi)</source>
        <translation>Visible on the local network (Avahi)</translation>
    </message>
    <message>
        <source>No responde ningún servidor SSH: actívalo (en Linux, instala y arranca openssh-server).</source>
        <translation>No SSH server is answering: turn it on (on Linux, install and start openssh-server).</translation>
    </message>
    <message>
        <source>No funciona ningún servicio DNS-SD: el teléfono no encontrará este ordenador por sí solo; en Linux, instala y arranca avahi-daemon.</source>
        <translation>No DNS-SD service is running: the phone will not find this computer by itself; on Linux, install and start avahi-daemon.</translation>
    </message>
    <message>
        <source>El servicio DNS-SD no muestra lo que este ordenador anuncia: el teléfono no lo encontrará por sí solo; en Linux, revisa allow-interfaces y disable-publishing en /etc/avahi/avahi-daemon.conf (como administrador).</source>
        <translation>The DNS-SD service does not show what this computer announces: the phone will not find it by itself; on Linux, check allow-interfaces and disable-publishing in /etc/avahi/avahi-daemon.conf (as administrator).</translation>
    </message>
    <message>
        <source>El servidor SSH rechaza la llave por otro motivo: mira su registro (journalctl -u ssh o /var/log/auth.log).</source>
        <translation>The SSH server refuses the key for another reason: see its log (journalctl -u ssh or /var/log/auth.log).</translation>
    </message>
    <message>
        <source>Bonjour: visible en la red local</source>
        <translation>Bonjour: visible on the local network</translation>
    </message>
    <message>
        <source>Bonjour: no visible en la red local</source>
        <translation>Bonjour: not visible on the local network</translation>
    </message>
    <message>
        <source>Bonjour: aún no visible en la red local</source>
        <translation>Bonjour: not visible on the local network (yet)</translation>
    </message>
    <message>
        <source>Avahi: visible en la red local</source>
        <translation>Avahi: visible on the local network</translation>
    </message>
    <message>
        <source>Avahi: no visible en la red local</source>
        <translation>Avahi: not visible on the local network</translation>
    </message>
    <message>
        <source>Avahi: aún no visible en la red local</source>
        <translation>Avahi: not visible on the local network (yet)</translation>
    </message>
    <message>
        <source>Inicio de sesión remoto (SSH)</source>
        <translation>Remote Login (SSH)</translation>
    </message>
    <message>
        <source>Servidor SSH</source>
        <translation>SSH server</translation>
    </message>
    <message>
        <source>Instalar con Homebrew</source>
        <translation>Install with Homebrew</translation>
    </message>
    <message>
        <source>Instalar con %@</source>
        <extracomment>the package manager: apt, dnf, pacman, zypper</extracomment>
        <translation>Install with %@</translation>
    </message>
    <message>
        <source>Instalar…</source>
        <translation>Install…</translation>
    </message>
    <message>
        <source>No responde ningún servidor SSH: actívalo en Ajustes del Sistema &gt; General &gt; Compartir &gt; Sesión remota.</source>
        <translation>No SSH server is answering: turn it on in System Settings &gt; General &gt; Sharing &gt; Remote Login.</translation>
    </message>
    <message>
        <source>No funciona ningún servicio DNS-SD: el teléfono no encontrará este Mac por sí solo; reinicia el Mac.</source>
        <translation>No DNS-SD service is running: the phone will not find this Mac by itself; restart the Mac.</translation>
    </message>
    <message>
        <source>El servicio DNS-SD no muestra lo que este Mac anuncia: el teléfono no lo encontrará por sí solo; permite a nuvexa Companion usar la red local (Ajustes del Sistema &gt; Privacidad y seguridad &gt; Red local) y, si sigue igual, reinicia el Mac.</source>
        <translation>The DNS-SD service does not show what this Mac announces: the phone will not find it by itself; allow nuvexa Companion to use the local network (System Settings &gt; Privacy &amp; Security &gt; Local Network) and, if nothing changes, restart the Mac.</translation>
    </message>
    <message>
        <source>El servidor SSH rechaza la llave por otro motivo: mira su registro (log show --last 1h --predicate &apos;process BEGINSWITH &quot;sshd&quot;&apos;).</source>
        <translation>The SSH server refuses the key for another reason: see its log (log show --last 1h --predicate &apos;process BEGINSWITH &quot;sshd&quot;&apos;).</translation>
    </message>
    <message>
        <source>Añade su carpeta al PATH de las sesiones SSH: escribe export PATH=&quot;%@:$PATH&quot; en ~/.zshenv.</source>
        <extracomment>the folder that holds mosh-server</extracomment>
        <translation>Put its folder on the PATH of SSH sessions: write export PATH=&quot;%@:$PATH&quot; in ~/.zshenv.</translation>
    </message>
    <message>
        <source>Instala el paquete de la distribución (%@) o enlázalo donde una sesión SSH lo busca: sudo ln -s %@ /usr/local/bin/mosh-server</source>
        <extracomment>the full path of mosh-server, then the command that installs the package</extracomment>
        <translation>Install the distribution&apos;s package (%@) or link it where an SSH session looks: sudo ln -s %@ /usr/local/bin/mosh-server</translation>
    </message>
    <message>
        <source>Enlázalo donde una sesión SSH lo busca: sudo ln -s %@ /usr/local/bin/mosh-server</source>
        <extracomment>the full path of mosh-server</extracomment>
        <translation>Link it where an SSH session looks: sudo ln -s %@ /usr/local/bin/mosh-server</translation>
    </message>
    <message>
        <source>Da un idioma UTF-8 a las sesiones SSH: escribe export LANG=en_US.UTF-8 en ~/.zshenv.</source>
        <translation>Give SSH sessions a UTF-8 locale: write export LANG=en_US.UTF-8 in ~/.zshenv.</translation>
    </message>
    <message>
        <source>Pon un idioma UTF-8 por defecto: sudo localectl set-locale LANG=en_US.UTF-8 (si no está instalado, antes sudo locale-gen en_US.UTF-8).</source>
        <translation>Set a UTF-8 default locale: sudo localectl set-locale LANG=en_US.UTF-8 (if it is not installed, first sudo locale-gen en_US.UTF-8).</translation>
    </message>
    <message>
        <source>Cambia %@ en tus archivos de la shell (~/.zshenv) por uno de los que lista locale -a, como en_US.UTF-8.</source>
        <extracomment>the locale the session asks for</extracomment>
        <translation>Replace %@ in your shell&apos;s files (~/.zshenv) with one that locale -a lists, such as en_US.UTF-8.</translation>
    </message>
    <message>
        <source>Instálalo: sudo locale-gen %@ (en Debian, antes quita el # de su línea en /etc/locale.gen), o pon uno instalado con sudo localectl set-locale.</source>
        <extracomment>the locale the session asks for</extracomment>
        <translation>Install it: sudo locale-gen %@ (on Debian, first remove the # from its line in /etc/locale.gen), or set an installed one with sudo localectl set-locale.</translation>
    </message>
</context>
<context>
    <name>Readiness</name>
    <message>
        <source>no instalado</source>
        <translation>not installed</translation>
    </message>
    <message>
        <source>activado</source>
        <translation>on</translation>
    </message>
    <message>
        <source>desactivado</source>
        <translation>off</translation>
    </message>
    <message>
        <source>Activar…</source>
        <translation>Turn On…</translation>
    </message>
    <message>
        <source>conectado · %@</source>
        <extracomment>mesh address</extracomment>
        <translation>connected · %@</translation>
    </message>
    <message>
        <source> · por relé</source>
        <translation> · via relay</translation>
    </message>
    <message>
        <source>no instalado · fuera de casa hace falta</source>
        <translation>not installed · needed away from home</translation>
    </message>
    <message>
        <source>Descargar Drozak</source>
        <translation>Download Drozak</translation>
    </message>
    <message>
        <source>instalado, sin conexión</source>
        <translation>installed, not connected</translation>
    </message>
    <message>
        <source>Conectar</source>
        <translation>Connect</translation>
    </message>
    <message>
        <source>instalado, pero una sesión SSH no lo encuentra</source>
        <translation>installed, but an SSH session does not find it</translation>
    </message>
    <message>
        <source>mosh-server está instalado en %@, pero una sesión SSH no lo encuentra: el teléfono no podrá entrar con mosh.</source>
        <extracomment>where mosh-server is installed</extracomment>
        <translation>mosh-server is installed at %@, but an SSH session does not find it: the phone will not get in with mosh.</translation>
    </message>
</context>
<context>
    <name>StatusCommand</name>
    <message>
        <source>Direcciones</source>
        <translation>Addresses</translation>
    </message>
    <message>
        <source>Dirección de malla</source>
        <translation>Mesh address</translation>
    </message>
    <message>
        <source>ninguna</source>
        <translation>none</translation>
    </message>
    <message>
        <source>Uso: nuvexa-companion-cli status [--json]</source>
        <translation>Usage: nuvexa-companion-cli status [--json]</translation>
    </message>
    <message>
        <source>Muestra si este ordenador está listo para el teléfono y, para lo que falta, qué hacer.</source>
        <translation>Shows whether this computer is ready for the phone and, for what is missing, what to do.</translation>
    </message>
    <message>
        <source>Escribe un objeto JSON en lugar de texto.</source>
        <translation>Write one JSON object instead of text.</translation>
    </message>
    <message>
        <source>Estado de salida: 0 listo (el servidor SSH está activado); 1 no listo; 2 error de uso.</source>
        <translation>Exit status: 0 ready (the SSH server is on); 1 not ready; 2 usage error.</translation>
    </message>
</context>
<context>
    <name>SystemActions</name>
    <message>
        <source>No encuentro el servidor SSH. Instala el servidor OpenSSH y vuelve a pulsar.</source>
        <translation>Cannot find the SSH server. Install the OpenSSH server and press again.</translation>
    </message>
    <message>
        <source>No encuentro pkexec y systemctl para pedir permiso de administrador.</source>
        <translation>Cannot find pkexec and systemctl to ask for administrator permission.</translation>
    </message>
    <message>
        <source>Ningún agente de polkit puede pedir la contraseña de administrador en este escritorio. Escribe «%@» en una terminal.</source>
        <translation>No polkit agent can ask for the administrator password on this desktop. Type “%@” into a terminal.</translation>
    </message>
    <message>
        <source>No puedo escribir en Terminal (permiso de Automatización). He copiado «%@»: pégalo en Terminal y pulsa Intro.</source>
        <translation>Cannot type into Terminal (Automation permission). I copied “%@”: paste it into Terminal and press Return.</translation>
    </message>
    <message>
        <source>No encuentro apt, dnf, pacman ni zypper. Instala mosh y tmux con el gestor de paquetes de tu sistema y vuelve a pulsar.</source>
        <translation>Cannot find apt, dnf, pacman or zypper. Install mosh and tmux with your system’s package manager and press again.</translation>
    </message>
    <message>
        <source>Mantener el ordenador despierto para usarlo desde el iPhone</source>
        <translation>Keep the computer awake to use it from the iPhone</translation>
    </message>
    <message>
        <source>No se ha podido cambiar el inicio de sesión remoto.</source>
        <translation>Could not change Remote Login.</translation>
    </message>
    <message>
        <source>Homebrew no está instalado. Instálalo desde brew.sh y vuelve a pulsar.</source>
        <translation>Homebrew is not installed. Install it from brew.sh and press again.</translation>
    </message>
    <message>
        <source>No he podido abrir una terminal. He copiado «%@»: pégalo en una terminal y pulsa Intro.</source>
        <translation>Could not open a terminal. I copied “%@”: paste it into a terminal and press Return.</translation>
    </message>
    <message>
        <source>No he podido abrir una terminal ni copiar la orden. Escribe «%@» en una terminal y pulsa Intro.</source>
        <translation>Could not open a terminal nor copy the command. Type “%@” into a terminal and press Return.</translation>
    </message>
    <message>
        <source>No se ha dado permiso de administrador y el servidor SSH sigue como estaba. También puedes escribir «%@» en una terminal.</source>
        <translation>Administrator permission was not given, and the SSH server is as it was. You can also type “%@” into a terminal.</translation>
    </message>
    <message>
        <source>No se puede pedir permiso de administrador: polkit no responde. Escribe «%@» en una terminal.</source>
        <translation>Administrator permission cannot be asked for: polkit does not answer. Type “%@” into a terminal.</translation>
    </message>
    <message>
        <source>No se ha podido cambiar el servidor SSH (%@). Escribe «%@» en una terminal para ver por qué.</source>
        <translation>Could not change the SSH server (%@). Type “%@” into a terminal to see why.</translation>
    </message>
    <message>
        <source>No se ha podido cambiar el servidor SSH (código %d). Escribe «%@» en una terminal para ver por qué.</source>
        <translation>Could not change the SSH server (code %d). Type “%@” into a terminal to see why.</translation>
    </message>
</context>
<context>
    <name>TmuxNotifier</name>
    <message>
        <source>«%@» ha terminado tras %@.</source>
        <translation>“%@” finished after %@.</translation>
    </message>
    <message>
        <source>nuvexa</source>
        <translation>nuvexa</translation>
    </message>
</context>
<context>
    <name>WayInDoctor</name>
    <message>
        <source> El servidor SSH deja pasar el idioma del teléfono (AcceptEnv), que puede bastar si es UTF-8 y está instalado aquí.</source>
        <translation> The SSH server lets the phone&apos;s own locale through (AcceptEnv), which may be enough if it is UTF-8 and installed here.</translation>
    </message>
    <message>
        <source>Una sesión SSH arranca con el idioma %@, que no es UTF-8: mosh-server no arrancará.</source>
        <extracomment>the locale an SSH session starts with</extracomment>
        <translation>An SSH session starts with the locale %@, which is not UTF-8: mosh-server will not start.</translation>
    </message>
    <message>
        <source> El idioma por defecto del sistema es %@ (en %@).</source>
        <extracomment>the system&apos;s default locale, then the file that names it</extracomment>
        <translation> The system&apos;s default locale is %@ (in %@).</translation>
    </message>
    <message>
        <source> El sistema no tiene idioma por defecto.</source>
        <translation> The system has no default locale.</translation>
    </message>
    <message>
        <source>Una sesión SSH pide el idioma %@, que no está instalado: mosh-server no arrancará.</source>
        <extracomment>the locale an SSH session asks for</extracomment>
        <translation>An SSH session asks for the locale %@, which is not installed: mosh-server will not start.</translation>
    </message>
    <message>
        <source>mosh-server no arranca en una sesión SSH: «%@»</source>
        <extracomment>what mosh-server said when it did not start</extracomment>
        <translation>mosh-server does not start in an SSH session: “%@”</translation>
    </message>
    <message>
        <source>Escribe mosh-server new en una sesión SSH y mira su mensaje completo.</source>
        <translation>Type mosh-server new in an SSH session and read its whole message.</translation>
    </message>
</context>
</TS>
