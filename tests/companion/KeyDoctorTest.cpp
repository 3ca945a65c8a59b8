#include "Companion/KeyDoctor.h"
#include "Companion/linux/LinuxSystemActions.h"
#include "Companion/macos/MacSystemActions.h"

#include "support/FakeProcessRunner.h"
#include "support/ForeignNames.h"

#include <gtest/gtest.h>

using CompanionCore::Obstacle;
namespace KeyDoctor = Companion::KeyDoctor;

namespace {

/// Every cause the doctor names.
constexpr Obstacle everyObstacle[] = {
    Obstacle::noSshServer,        Obstacle::addressUnreachable,  Obstacle::listensOnLoopbackOnly,
    Obstacle::publicKeysDisabled, Obstacle::userNotAllowed,      Obstacle::groupNotAllowed,
    Obstacle::userDenied,         Obstacle::groupDenied,         Obstacle::keyFileElsewhere,
    Obstacle::homeModes,          Obstacle::sshFolderModes,      Obstacle::keyFileModes,
    Obstacle::keyFileUnreadable,  Obstacle::keyFileNotRegular,   Obstacle::keyFileTooLarge,
    Obstacle::remoteLoginAccess,  Obstacle::firewallBlocksSsh,   Obstacle::firewallBlocksPairing,
    Obstacle::noDnsSdDaemon,      Obstacle::announcementNotSeen, Obstacle::refusedForAnotherReason,
};

CompanionCore::KeyDiagnosis::Result resultWith(std::vector<Obstacle> obstacles) {
    CompanionCore::KeyDiagnosis::Result result;
    result.obstacles = std::move(obstacles);
    return result;
}

/// The remedies as each backend's user reads them: the words are the backend's own.
class KeyDoctorTest : public ::testing::Test {
protected:
    std::shared_ptr<TestSupport::FakeProcessRunner> m_runner =
        std::make_shared<TestSupport::FakeProcessRunner>();
    Companion::MacSystemActions m_mac{m_runner};
    Companion::LinuxSystemActions m_linux{m_runner};
};

} // namespace

TEST_F(KeyDoctorTest, WithNoServerAMacUserIsToldToTurnOnRemoteLogin) {
    EXPECT_EQ(KeyDoctor::verdict(resultWith({Obstacle::noSshServer}), m_mac.wording()),
              QStringLiteral("No responde ningún servidor SSH: actívalo en Ajustes del Sistema > General > "
                             "Compartir > Sesión remota."));
}

TEST_F(KeyDoctorTest, WithNoServerALinuxUserIsToldToInstallAndStartOpensshServer) {
    EXPECT_EQ(KeyDoctor::verdict(resultWith({Obstacle::noSshServer}), m_linux.wording()),
              QStringLiteral(
                  "No responde ningún servidor SSH: actívalo (en Linux, instala y arranca openssh-server)."));
}

TEST_F(KeyDoctorTest, TheNotesOfAMacNameTheMacsOwnRemediesForDnsSd) {
    EXPECT_EQ(
        KeyDoctor::notes(resultWith({Obstacle::noDnsSdDaemon, Obstacle::announcementNotSeen}),
                         m_mac.wording()),
        QStringLiteral("No funciona ningún servicio DNS-SD: el teléfono no encontrará este Mac por sí solo; "
                       "reinicia el Mac.\n"
                       "El servicio DNS-SD no muestra lo que este Mac anuncia: el teléfono no lo "
                       "encontrará por sí solo; permite a nuvexa Companion usar la red local (Ajustes del "
                       "Sistema > Privacidad y seguridad > Red local) y, si sigue igual, reinicia el Mac."));
}

TEST_F(KeyDoctorTest, TheNotesOfALinuxComputerNameAvahi) {
    EXPECT_EQ(
        KeyDoctor::notes(resultWith({Obstacle::noDnsSdDaemon, Obstacle::announcementNotSeen}),
                         m_linux.wording()),
        QStringLiteral("No funciona ningún servicio DNS-SD: el teléfono no encontrará este ordenador por sí "
                       "solo; en Linux, instala y arranca avahi-daemon.\n"
                       "El servicio DNS-SD no muestra lo que este ordenador anuncia: el teléfono no lo "
                       "encontrará por sí solo; en Linux, revisa allow-interfaces y disable-publishing en "
                       "/etc/avahi/avahi-daemon.conf (como administrador)."));
}

TEST_F(KeyDoctorTest, AKeyRefusedForAnotherReasonPointsAtTheLogOfTheUsersSystem) {
    EXPECT_EQ(
        KeyDoctor::describe(Obstacle::refusedForAnotherReason, m_mac.wording()),
        QStringLiteral("El servidor SSH rechaza la llave por otro motivo: mira su registro (log show --last "
                       "1h --predicate 'process BEGINSWITH \"sshd\"')."));
    EXPECT_EQ(
        KeyDoctor::describe(Obstacle::refusedForAnotherReason, m_linux.wording()),
        QStringLiteral("El servidor SSH rechaza la llave por otro motivo: mira su registro (journalctl -u "
                       "ssh o /var/log/auth.log)."));
}

TEST_F(KeyDoctorTest, NoRemedyAMacUserMeetsNamesLinuxOrItsServices) {
    for (const auto obstacle : everyObstacle) {
        const auto text = KeyDoctor::describe(obstacle, m_mac.wording()).toStdString();
        EXPECT_FALSE(text.empty());
        EXPECT_TRUE(TestSupport::linuxNames(text).empty()) << text;
    }
}

TEST_F(KeyDoctorTest, NoRemedyALinuxUserMeetsNamesTheMacOrItsServices) {
    for (const auto obstacle : everyObstacle) {
        // Only the Mac's backend finds Remote Login limited to other users.
        if (obstacle == Obstacle::remoteLoginAccess) {
            continue;
        }
        const auto text = KeyDoctor::describe(obstacle, m_linux.wording()).toStdString();
        EXPECT_FALSE(text.empty());
        EXPECT_TRUE(TestSupport::foreignNames(text).empty()) << text;
    }
}
