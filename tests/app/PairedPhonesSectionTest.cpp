#include "CompanionApp/PairedPhonesSection.h"
#include "CompanionApp/ContentView.h"
#include "support/Files.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"
#include "support/SampleKeys.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using AppTestSupport::PanelWorld;
using AppTestSupport::saveArtifact;
using AppTestSupport::visibleElements;
using ::testing::ElementsAre;
namespace Keys = TestSupport::SampleKeys;

const std::string phoneLine = "ssh-ed25519 " + Keys::ed25519 + " nuvexa:iPhone de Ana";
const std::string oldTabletLine = "ssh-rsa " + Keys::rsa + " nuvexa:iPad";
const std::string tabletLine = "ecdsa-sha2-nistp256 " + Keys::ecdsa256 + " nuvexa:iPad";
const std::string laptopLine = "ssh-ed25519 " + Keys::skEd25519.substr(0, 12) + " ana@laptop";
const std::string backupLine = "restrict ssh-ed25519 " + Keys::ed25519 + " backup";

void writeKeys(PanelWorld& world, const std::string& text) {
    std::filesystem::create_directories(world.home / ".ssh");
    TestSupport::writeFile(world.home / ".ssh" / "authorized_keys", text);
}

std::string readKeys(PanelWorld& world) {
    return TestSupport::readFile(world.home / ".ssh" / "authorized_keys");
}

/// What a phone's activity line says while the records show no login of its key.
const std::string never = "no ha iniciado sesión desde que se emparejó {grey}";

std::string shortOf(const std::string& fingerprint) {
    return fingerprint.substr(0, 19) + "…";
}

} // namespace

TEST(PairedPhonesSectionTest, NothingIsShownWhenNoPhoneIsPaired) {
    PanelWorld world;
    writeKeys(world, laptopLine + "\n");
    world.buildAndShow();
    EXPECT_FALSE(world.panel().pairedPhonesSection().isVisible());
}

TEST(PairedPhonesSectionTest, ListsEachPhoneWithAShortFingerprintAndMarksTheOlderKey) {
    PanelWorld world;
    writeKeys(world, laptopLine + "\n" + oldTabletLine + "\n" + phoneLine + "\n" + tabletLine + "\n");
    world.buildAndShow();
    auto& section = world.panel().pairedPhonesSection();
    ASSERT_TRUE(section.isVisible());
    EXPECT_THAT(visibleElements(section),
                ElementsAre("Teléfonos emparejados {grey}", "iPad",
                            shortOf(Keys::rsaFingerprint) + " · clave anterior {grey}", never, "⟨Revocar…⟩",
                            "iPhone de Ana", shortOf(Keys::ed25519Fingerprint) + " {grey}", never,
                            "⟨Revocar…⟩", "iPad", shortOf(Keys::ecdsa256Fingerprint) + " {grey}", never,
                            "⟨Revocar…⟩"));
    saveArtifact(world.panel());
}

TEST(PairedPhonesSectionTest, RevokingAfterConfirmationRemovesThatPhoneAndTheListFollows) {
    PanelWorld world;
    writeKeys(world, laptopLine + "\n" + phoneLine + "\n" + tabletLine + "\n");
    world.buildAndShow();
    ASSERT_EQ(world.panel().pairedPhonesSection().revokeButtons().size(), 2u);
    ASSERT_TRUE(world.clickRevoke(0));
    EXPECT_EQ(world.revokeQuestions, std::vector<QString>{"iPhone de Ana"});
    EXPECT_EQ(world.revokeOtherLines, std::vector<QStringList>{{}}) << "no other line holds the key";
    EXPECT_EQ(readKeys(world), laptopLine + "\n" + tabletLine + "\n");
    EXPECT_EQ(world.panel().pairedPhonesSection().revokeButtons().size(), 1u);
    EXPECT_FALSE(world.panel().lastError().isVisible());
}

TEST(PairedPhonesSectionTest, TheConfirmationNamesTheOtherLinesWithThePhonesKeyAndKeepingThemIsNoLockout) {
    PanelWorld world;
    writeKeys(world, phoneLine + "\n" + laptopLine + "\n" + backupLine + "\n");
    world.buildAndShow();
    ASSERT_TRUE(world.clickRevoke(0));
    EXPECT_EQ(world.revokeOtherLines,
              std::vector<QStringList>{{QStringLiteral("línea 3: restrict ssh-ed25519 … backup")}});
    EXPECT_EQ(readKeys(world), laptopLine + "\n" + backupLine + "\n");
    EXPECT_TRUE(world.panel().lastError().isVisible());
    EXPECT_EQ(world.panel().lastError().text().toStdString(),
              "«iPhone de Ana» aún puede iniciar sesión: su llave sigue en la línea 2.");
    EXPECT_FALSE(world.panel().pairedPhonesSection().isVisible());
}

TEST(PairedPhonesSectionTest, RemovingTheOtherLinesTooLeavesNoLineWithThePhonesKey) {
    PanelWorld world;
    writeKeys(world, phoneLine + "\n" + laptopLine + "\n" + backupLine + "\n");
    world.revokeEveryLine = true;
    world.buildAndShow();
    ASSERT_TRUE(world.clickRevoke(0));
    EXPECT_EQ(world.revokeOtherLines.size(), 1u);
    EXPECT_EQ(readKeys(world), laptopLine + "\n");
    EXPECT_FALSE(world.panel().lastError().isVisible());
}

TEST(PairedPhonesSectionTest, ACancelledConfirmationChangesNothing) {
    PanelWorld world;
    writeKeys(world, phoneLine + "\n");
    world.confirmRevoke = false;
    world.buildAndShow();
    world.panel().pairedPhonesSection().revokeButtons().at(0)->click();
    EXPECT_EQ(world.revokeQuestions.size(), 1u);
    EXPECT_EQ(readKeys(world), phoneLine + "\n");
}

TEST(PairedPhonesSectionTest, AFailedRevokeGoesToTheRedLine) {
    PanelWorld world;
    writeKeys(world, phoneLine + "\n");
    world.buildAndShow();
    // The key file turns into a folder between the listing and the revoke.
    std::filesystem::remove(world.home / ".ssh" / "authorized_keys");
    std::filesystem::create_directory(world.home / ".ssh" / "authorized_keys");
    ASSERT_TRUE(world.clickRevoke(0));
    EXPECT_TRUE(world.panel().lastError().isVisible());
    // The list read afresh after the revoke names the same problem, in the user's words.
    EXPECT_THAT(world.panel().lastError().text().toStdString(),
                ::testing::HasSubstr("no es un archivo normal"));
}

TEST(PairedPhonesSectionTest, AFolderInPlaceOfTheKeyFileListsNoPhoneAndTheRedLineSaysWhatToDo) {
    PanelWorld world;
    std::filesystem::create_directories(world.home / ".ssh" / "authorized_keys");
    world.buildAndShow();
    EXPECT_FALSE(world.panel().pairedPhonesSection().isVisible());
    EXPECT_TRUE(world.panel().lastError().isVisible());
    EXPECT_EQ(world.panel().lastError().text(),
              QStringLiteral("~/.ssh/authorized_keys no es un archivo normal: debe serlo; apártalo (mv "
                             "~/.ssh/authorized_keys ~/.ssh/authorized_keys.aparte) y vuelve a emparejar el "
                             "teléfono"));
}

TEST(PairedPhonesSectionTest, APairingAddsThePhoneToTheList) {
    PanelWorld world;
    world.buildAndShow();
    EXPECT_FALSE(world.panel().pairedPhonesSection().isVisible());
    world.pairing().start();
    const auto* waiting = std::get_if<CompanionCore::Pairing::Waiting>(&world.pairing().state());
    ASSERT_NE(waiting, nullptr);
    AppTestSupport::pairAsPhone(waiting->port, world.codes[0], "iPhone de Ana");
    // The list is read afresh from the file once the pairing is published.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return std::holds_alternative<CompanionCore::Pairing::Paired>(world.pairing().state()); },
        AppTestSupport::generousMilliseconds));
    EXPECT_TRUE(world.panel().pairedPhonesSection().isVisible());
    EXPECT_EQ(world.panel().pairedPhonesSection().revokeButtons().size(), 1u);
}

TEST(PairedPhonesSectionTest, EachPhoneSaysWhetherItIsConnectedAndWhenAndWhereItLastLoggedIn) {
    PanelWorld world;
    writeKeys(world, phoneLine + "\n" + tabletLine + "\n" + "ssh-rsa " + Keys::rsa + " nuvexa:Pixel\n");
    const auto now = std::chrono::system_clock::now();
    const std::string user = PanelWorld::user;
    // The iPhone logged in two hours ago and is in now over SSH; the iPad left a mosh session
    // open; the Pixel never logged in.
    world.loginRecords->add(
        {now - std::chrono::minutes(130), user, "100.64.0.7", 50100, Keys::ed25519Fingerprint, true});
    world.loginRecords->add(
        {now - std::chrono::minutes(3), user, "192.168.1.23", 50101, Keys::ed25519Fingerprint, true});
    world.loginRecords->add(
        {now - std::chrono::days(3), user, "100.64.0.8", 50200, Keys::ecdsa256Fingerprint, true});
    world.liveSessions->set({{4242, "192.168.1.23", 50101, false}, {4343, "100.64.0.8", 50200, true}});
    world.buildAndShow();
    auto& section = world.panel().pairedPhonesSection();
    ASSERT_TRUE(QTest::qWaitFor([&] { return world.model().phoneActivity().has_value(); }, 60000));
    QApplication::processEvents();
    EXPECT_THAT(visibleElements(section),
                ElementsAre("Teléfonos emparejados {grey}", "iPhone de Ana",
                            shortOf(Keys::ed25519Fingerprint) + " {grey}",
                            "conectado ahora (SSH) · último acceso hace 3 min desde 192.168.1.23 {green}",
                            "⟨Revocar…⟩", "iPad", shortOf(Keys::ecdsa256Fingerprint) + " {grey}",
                            "sesión mosh abierta · último acceso hace 3 días desde 100.64.0.8 {grey}",
                            "⟨Revocar…⟩", "Pixel", shortOf(Keys::rsaFingerprint) + " {grey}", never,
                            "⟨Revocar…⟩"));
    const auto lines = section.activityLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0]->toolTip().startsWith("Último acceso: ")) << lines[0]->toolTip().toStdString();
    EXPECT_TRUE(lines[2]->toolTip().isEmpty());
    saveArtifact(world.panel());
}

TEST(PairedPhonesSectionTest, WhereTheRecordsCannotBeReadItSaysHowToAllowItOnceAndClaimsNoLogin) {
    PanelWorld world;
    world.loginRecords->makeUnreadable(QStringLiteral("Añade tu usuario al grupo adm."));
    writeKeys(world, phoneLine + "\n" + tabletLine + "\n");
    world.buildAndShow();
    auto& section = world.panel().pairedPhonesSection();
    ASSERT_TRUE(QTest::qWaitFor([&] { return world.model().phoneActivity().has_value(); }, 60000));
    QApplication::processEvents();
    EXPECT_THAT(visibleElements(section),
                ElementsAre("Teléfonos emparejados {grey}", "Añade tu usuario al grupo adm. {grey}",
                            "iPhone de Ana", shortOf(Keys::ed25519Fingerprint) + " {grey}", "⟨Revocar…⟩",
                            "iPad", shortOf(Keys::ecdsa256Fingerprint) + " {grey}", "⟨Revocar…⟩"));
}
