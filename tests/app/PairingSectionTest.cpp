#include "CompanionApp/PairingSection.h"
#include "support/ForeignNames.h"
#include "support/PanelElements.h"

#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using AppTestSupport::saveArtifact;
using AppTestSupport::visibleElements;
namespace Pairing = CompanionCore::Pairing;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* explanation =
    "En nuvexa, toca «Buscar un Mac en la red», elige este Mac y escribe el código. Tu "
    "llave del iPhone quedará instalada aquí. {grey}";

/// The section as it sits in the panel: 320 points wide.
struct Section {
    Section() {
        section.setFixedWidth(320);
        section.show();
    }
    CompanionApp::PairingSection section;
};

TEST(PairingSectionTest, CodeIsShownWithOneBlankBeforeItsFourthCharacter) {
    EXPECT_EQ(CompanionApp::PairingSection::formattedCode(QStringLiteral("123456")),
              QStringLiteral("123 456"));
    EXPECT_EQ(CompanionApp::PairingSection::formattedCode(QStringLiteral("1234567")),
              QStringLiteral("123 4567"));
    EXPECT_EQ(CompanionApp::PairingSection::formattedCode(QStringLiteral("123")), QStringLiteral("123"));
}

TEST(PairingSectionTest, CodeBeginningWithZeroKeepsItsZero) {
    Section view;
    view.section.render(Pairing::Waiting{"012345", 52901}, false, true);
    EXPECT_EQ(view.section.code().text(), QStringLiteral("012 345"));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, PortIsWrittenInDecimalWithoutGrouping) {
    // A locale that groups thousands with a dot must not touch the port.
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    Section view;
    view.section.render(Pairing::Waiting{"012345", 52901}, false, true);
    QLocale::setDefault(previous);
    EXPECT_THAT(visibleElements(view.section),
                ElementsAre("Código para el iPhone {grey}", "012 345",
                            "Esperando al iPhone en el puerto 52901 · caduca en 5 min {grey}",
                            "(hourglass) grey", "Anunciando en la red local… {grey}", "⟨Cancelar⟩"));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, TheWaitingLineStatesTheSessionsOwnExpiryInWholeMinutes) {
    Section view;
    view.section.setExpiry(std::chrono::seconds(90));
    view.section.render(Pairing::Waiting{"012345", 52901}, false, true);
    EXPECT_THAT(visibleElements(view.section),
                Contains("Esperando al iPhone en el puerto 52901 · caduca en 2 min {grey}"));
}

TEST(PairingSectionTest, AnnouncedCodeViewSaysItIsVisible) {
    Section view;
    view.section.render(Pairing::Waiting{"987654", 52902}, true, true);
    EXPECT_THAT(visibleElements(view.section),
                ElementsAre("Código para el iPhone {grey}", "987 654",
                            "Esperando al iPhone en el puerto 52902 · caduca en 5 min {grey}",
                            "(radio) green", "Visible en la red local (Bonjour) {green}", "⟨Cancelar⟩"));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, OnLinuxTheAnnouncementLineNamesAvahi) {
    Section view;
    view.section.setWording(Companion::Wording::linuxSystem);
    view.section.render(Pairing::Waiting{"987654", 52902}, true, true);
    EXPECT_THAT(visibleElements(view.section), Contains("Visible en la red local (Avahi) {green}"));
    for (const auto& text : visibleElements(view.section)) {
        EXPECT_THAT(TestSupport::foreignNames(text), IsEmpty()) << text;
    }
}

TEST(PairingSectionTest, IdleWithRemoteLoginOffShowsTheDisabledStartButtonAndTheExplanation) {
    Section view;
    view.section.render(Pairing::Idle{}, false, false);
    EXPECT_THAT(visibleElements(view.section),
                ElementsAre("⟨Emparejar con el iPhone⟩ disabled", explanation));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, FailedAddsItsMessageInRedAtTheEndOfTheStartView) {
    Section view;
    view.section.render(
        Pairing::Failed{CompanionCore::PairingFailure::listenerFailed, "The address is protected"}, false,
        true);
    EXPECT_THAT(visibleElements(view.section),
                ElementsAre("⟨Emparejar con el iPhone⟩", explanation,
                            "no se pueden recibir conexiones del teléfono: The address is protected {red}"));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, StartingShowsOnlyTheBusyIndicator) {
    Section view;
    view.section.render(Pairing::Starting{}, false, true);
    EXPECT_THAT(visibleElements(view.section), ElementsAre("[busy]"));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, PairedShowsTheDeviceInGreenAndOffersAnother) {
    Section view;
    view.section.render(Pairing::Paired{"iPhone de Ana", {}}, false, true);
    EXPECT_THAT(
        visibleElements(view.section),
        ElementsAre("(seal) green", "Emparejado con iPhone de Ana {green}",
                    "La llave está en ~/.ssh/authorized_keys. Ya puedes conectar desde nuvexa. {grey}",
                    "⟨Emparejar otro⟩"));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, DeviceNameThatLooksLikeAPlaceholderIsShownAsGiven) {
    Section view;
    view.section.render(Pairing::Paired{"%@ %d", {}}, false, true);
    EXPECT_EQ(view.section.pairedLine().text(), QStringLiteral("Emparejado con %@ %d"));
}

TEST(PairingSectionTest, ButtonsAskToStartAndToStop) {
    Section view;
    QSignalSpy starts(&view.section, &CompanionApp::PairingSection::startRequested);
    QSignalSpy stops(&view.section, &CompanionApp::PairingSection::stopRequested);
    view.section.render(Pairing::Idle{}, false, true);
    view.section.startButton().click();
    view.section.render(Pairing::Waiting{"123456", 52901}, false, true);
    view.section.cancelButton().click();
    view.section.render(Pairing::Paired{"iPhone", {}}, false, true);
    view.section.pairAnotherButton().click();
    EXPECT_EQ(starts.count(), 2);
    EXPECT_EQ(stops.count(), 1);
}

TEST(PairingSectionTest, AKeyTheServerAcceptsIsSaidInGreenWithTheHostKey) {
    Section view;
    view.section.render(Pairing::Paired{"iPhone de Ana", {}}, false, true);
    view.section.renderKeyCheck(
        Companion::KeyCheckState{Companion::KeyCheckState::Stage::works,
                                 QStringLiteral("La llave funciona: comprobado con el servidor SSH"),
                                 QStringLiteral("SHA256:nkUMalcE/xHxKDwZtgHqWT3Ippjy")});
    EXPECT_THAT(
        visibleElements(view.section),
        ElementsAre("(seal) green", "Emparejado con iPhone de Ana {green}",
                    "La llave está en ~/.ssh/authorized_keys. Ya puedes conectar desde nuvexa. {grey}",
                    "La llave funciona: comprobado con el servidor SSH {green}",
                    "Huella del servidor SSH: SHA256:nkUMalcE/xHxKDwZtgHqWT3Ippjy {grey}",
                    "⟨Emparejar otro⟩"));
    saveArtifact(view.section);
}

TEST(PairingSectionTest, ARefusedKeyShowsTheReasonInOrange) {
    Section view;
    view.section.render(Pairing::Paired{"iPhone", {}}, false, true);
    const QString reason =
        QStringLiteral("Tu usuario no está en AllowUsers: añádelo en sshd_config (como administrador).");
    view.section.renderKeyCheck(
        Companion::KeyCheckState{Companion::KeyCheckState::Stage::refused, reason, std::nullopt});
    EXPECT_THAT(visibleElements(view.section),
                Contains((reason + QStringLiteral(" {orange}")).toStdString()));
    EXPECT_FALSE(view.section.hostKeyLine().isVisible());
    saveArtifact(view.section);
}

TEST(PairingSectionTest, TheKeyCheckLineAppearsOnlyOnceACheckHasBegun) {
    Section view;
    view.section.render(Pairing::Paired{"iPhone", {}}, false, true);
    view.section.renderKeyCheck(std::nullopt);
    EXPECT_FALSE(view.section.keyCheckLine().isVisible());
    view.section.renderKeyCheck(Companion::KeyCheckState{});
    EXPECT_TRUE(view.section.keyCheckLine().isVisible());
    EXPECT_EQ(view.section.keyCheckLine().text(),
              QStringLiteral("Comprobando la llave con el servidor SSH…"));
}

} // namespace
