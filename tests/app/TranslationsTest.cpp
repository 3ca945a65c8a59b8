#include "CompanionApp/Translations.h"
#include "Companion/linux/LinuxSystemActions.h"
#include "Companion/macos/MacSystemActions.h"
#include "CompanionApp/ContentView.h"
#include "CompanionApp/PairedPhonesSection.h"
#include "CompanionApp/PairingSection.h"
#include "CompanionApp/Switch.h"
#include "CompanionApp/WatchRow.h"
#include "support/Files.h"
#include "support/ForeignNames.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"
#include "support/SampleKeys.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QXmlStreamReader>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace {

using AppTestSupport::PanelWorld;
using AppTestSupport::saveArtifact;
using AppTestSupport::visibleElements;
using CompanionApp::Translations::fill;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Installs the translation for `locale` for the test's duration; the Spanish keys come back after.
class LanguageScope {
public:
    explicit LanguageScope(const QLocale& locale)
        : installed(CompanionApp::Translations::install(*qApp, locale)) {}
    ~LanguageScope() { CompanionApp::Translations::install(*qApp, QLocale::c()); }
    LanguageScope(const LanguageScope&) = delete;
    LanguageScope& operator=(const LanguageScope&) = delete;

    const bool installed;
};

/// One message of the catalogue file and the English it gives.
struct CatalogueEntry {
    QString context;
    QString source;
    QString translation;
};

/// Far fewer messages than the catalogue holds: a read that found this few went wrong.
constexpr std::size_t minimumCatalogueSize = 100;

/// The texts that are names and so read the same in English.
const QStringList names{QStringLiteral("nuvexa"), QStringLiteral("nuvexa Companion")};

/// Every message of the catalogue file the programs embed, finished or not.
std::vector<CatalogueEntry> catalogue() {
    QFile file(QStringLiteral(NUVEXA_TRANSLATION_CATALOGUE));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << NUVEXA_TRANSLATION_CATALOGUE;
    std::vector<CatalogueEntry> entries;
    QString context;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (xml.name() == u"name") {
            context = xml.readElementText();
        } else if (xml.name() == u"message") {
            entries.push_back({context, {}, {}});
        } else if (xml.name() == u"source" && !entries.empty()) {
            entries.back().source = xml.readElementText();
        } else if (xml.name() == u"translation" && !entries.empty()) {
            entries.back().translation = xml.readElementText();
        }
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    return entries;
}

/// Every text a Linux user can meet in the panel: the panel as it first shows, its red line after an
/// installation that found no terminal, and the backend's other messages; none may name another
/// system.
std::vector<std::string> linuxPanelTexts(const std::string& artifactSuffix) {
    PanelWorld world;
    world.platformActions = world.linuxActions();
    world.buildAndShow();
    std::vector<std::string> texts = visibleElements(world.panel());
    world.model().installWithHomebrew();
    QCoreApplication::processEvents();
    const auto withRedLine = visibleElements(world.panel());
    texts.insert(texts.end(), withRedLine.begin(), withRedLine.end());
    auto& actions = world.model().systemActions();
    texts.push_back(actions.packageManagerMissingMessage());
    texts.push_back(actions.setRemoteLogin(true, {}).value_or(""));
    actions.setCopyText([](const std::string&) { return true; });
    texts.push_back(actions.openTerminal("sudo apt install tmux").value_or(""));
    saveArtifact(world.panel(), artifactSuffix);
    for (const auto& text : texts) {
        EXPECT_THAT(TestSupport::foreignNames(text), IsEmpty()) << text;
    }
    return texts;
}

TEST(TranslationsTest, OnLinuxNoSpanishTextNamesAnotherSystem) {
    const auto texts = linuxPanelTexts(".es");
    EXPECT_THAT(texts, Contains("Servidor SSH"));
    EXPECT_THAT(texts, Contains("⟨Instalar con apt⟩"));
    EXPECT_THAT(texts, Contains("☐ Mantener el ordenador despierto"));
    EXPECT_THAT(texts,
                Contains("En nuvexa, toca «Buscar un Mac en la red», elige este ordenador y escribe el "
                         "código. Tu llave del iPhone quedará instalada aquí. {grey}"));
    EXPECT_THAT(texts,
                Contains("Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en este "
                         "ordenador y en el iPhone; entonces aparecerá aquí la dirección de malla. "
                         "{orange}"));
    EXPECT_THAT(texts,
                Contains("No he podido abrir una terminal ni copiar la orden. Escribe «sudo apt install "
                         "mosh tmux» en una terminal y pulsa Intro. {red}"));
    EXPECT_THAT(texts, Contains("No he podido abrir una terminal. He copiado «sudo apt install tmux»: pégalo "
                                "en una terminal y pulsa Intro."));
}

TEST(TranslationsTest, OnLinuxNoEnglishTextNamesAnotherSystem) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedStates));
    ASSERT_TRUE(english.installed);
    const auto texts = linuxPanelTexts(".en");
    EXPECT_THAT(texts, Contains("SSH server"));
    EXPECT_THAT(texts, Contains("⟨Install with apt⟩"));
    EXPECT_THAT(texts, Contains("☐ Keep the computer awake"));
    EXPECT_THAT(texts,
                Contains("In nuvexa, tap “Find a Mac on the network”, choose this computer and type the "
                         "code. Your iPhone’s key will be installed here. {grey}"));
    EXPECT_THAT(texts,
                Contains("Home addresses only. Away from home you need Drozak or Tailscale on this "
                         "computer and on the iPhone; the mesh address will then appear here. {orange}"));
    EXPECT_THAT(texts, Contains("Could not open a terminal nor copy the command. Type “sudo apt install mosh "
                                "tmux” into a terminal and press Return. {red}"));
    EXPECT_THAT(texts,
                Contains("Could not open a terminal. I copied “sudo apt install tmux”: paste it into a "
                         "terminal and press Return."));
}

TEST(TranslationsTest, OnLinuxWithoutAPackageManagerTheButtonNamesNone) {
    PanelWorld world;
    world.platformActions = world.linuxActions();
    world.executables->remove(std::string(PanelWorld::systemBin) + "/apt");
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel()), Contains("⟨Instalar…⟩"));
}

TEST(TranslationsTest, TheMacBackendKeepsTheMacTexts) {
    PanelWorld world;
    world.executables->add(std::string(PanelWorld::systemBin) + "/brew");
    Companion::MacSystemActions::Options options;
    options.isExecutable = [files = world.executables](const std::string& path) {
        return files->contains(path);
    };
    options.searchPaths = std::vector<std::string>{PanelWorld::systemBin};
    world.platformActions =
        std::make_shared<Companion::MacSystemActions>(world.actionsRunner, std::move(options));
    world.buildAndShow();
    const auto texts = visibleElements(world.panel());
    EXPECT_THAT(texts, Contains("Inicio de sesión remoto (SSH)"));
    EXPECT_THAT(texts, Contains("⟨Instalar con Homebrew⟩"));
    EXPECT_THAT(texts, Contains("☐ Mantener el Mac despierto"));
    EXPECT_THAT(texts, Contains("En nuvexa, toca «Buscar un Mac en la red», elige este Mac y escribe el "
                                "código. Tu llave del iPhone quedará instalada aquí. {grey}"));
    EXPECT_THAT(texts,
                Contains("Solo direcciones de casa. Fuera de casa hace falta Drozak o Tailscale en el Mac "
                         "y en el iPhone; entonces aparecerá aquí la dirección de malla. {orange}"));
}

TEST(TranslationsTest, FillPutsTextsAndNumbersInOrder) {
    EXPECT_EQ(fill(QStringLiteral("%@ · usuario %@"), {QStringLiteral("Estudio"), QStringLiteral("ana")}),
              QStringLiteral("Estudio · usuario ana"));
    EXPECT_EQ(fill(QStringLiteral("puerto %d · caduca"), {QStringLiteral("52901")}),
              QStringLiteral("puerto 52901 · caduca"));
}

TEST(TranslationsTest, FillNeverExpandsPlaceholdersInsideAnArgument) {
    EXPECT_EQ(fill(QStringLiteral("%@ y %@"), {QStringLiteral("%@"), QStringLiteral("b")}),
              QStringLiteral("%@ y b"));
}

TEST(TranslationsTest, FillLeavesPlaceholdersWithoutArgumentsAndLonePercentSigns) {
    EXPECT_EQ(fill(QStringLiteral("%@ %@ 100%"), {QStringLiteral("a")}), QStringLiteral("a %@ 100%"));
}

TEST(TranslationsTest, EnglishLocaleShowsTheEnglishPanel) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedStates));
    ASSERT_TRUE(english.installed);
    PanelWorld world;
    world.buildAndShow();
    EXPECT_THAT(visibleElements(world.panel()),
                ElementsAre("nuvexa Companion", "Estudio de Ana · user ana {grey}", "estudio.local {grey}",
                            "Home addresses only. Away from home you need Drozak or Tailscale on the Mac and "
                            "on the iPhone; the "
                            "mesh address will then appear here. {orange}",
                            "(✗) grey", "Remote Login (SSH)", "off {grey}", "⟨Turn On…⟩", "(✗) grey",
                            "mosh-server", "not installed {grey}", "⟨Install with Homebrew⟩", "(✗) grey",
                            "tmux", "not installed {grey}", "⟨Install with Homebrew⟩", "(✗) grey", "Drozak",
                            "not installed · needed away from home {grey}", "⟨Download Drozak⟩",
                            "☐ Keep the Mac awake", "☐ Keep awake while a phone is connected",
                            "☐ Notify me when something long finishes disabled",
                            "Needs tmux and nuvexa’s persistent session. {grey}",
                            "⟨Pair with the iPhone⟩ disabled",
                            "In nuvexa, tap “Find a Mac on the network”, choose this Mac and type the code. "
                            "Your iPhone’s key "
                            "will be installed here. {grey}",
                            "⟨Refresh⟩", "⟨Log⟩", "⟨Quit⟩"));
    saveArtifact(world.panel());
}

TEST(TranslationsTest, EnglishCodeViewKeepsThePortAndTheCode) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedKingdom));
    ASSERT_TRUE(english.installed);
    CompanionApp::PairingSection section;
    section.setFixedWidth(320);
    section.render(CompanionCore::Pairing::Waiting{"012345", 52901}, true, true);
    section.show();
    EXPECT_THAT(visibleElements(section),
                ElementsAre("Code for the iPhone {grey}", "012 345",
                            "Waiting for the iPhone on port 52901 · expires in 5 min {grey}", "(radio) green",
                            "Visible on the local network (Bonjour) {green}", "⟨Cancel⟩"));
    saveArtifact(section);
    section.setWording(Companion::Wording::linuxSystem);
    section.render(CompanionCore::Pairing::Waiting{"012345", 52901}, true, true);
    EXPECT_THAT(visibleElements(section), Contains("Visible on the local network (Avahi) {green}"));
}

TEST(TranslationsTest, AFailedPairingSaysWhyInEnglish) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedKingdom));
    ASSERT_TRUE(english.installed);
    CompanionApp::PairingSection section;
    section.setFixedWidth(320);
    section.render(
        CompanionCore::Pairing::Failed{CompanionCore::PairingFailure::keyFileNotTheUsers,
                                       {},
                                       CompanionCore::KeyFileOwnership::Named{"/home/ana", "ana", "root"}},
        false, true);
    section.show();
    EXPECT_EQ(section.failure().text(),
              QStringLiteral("/home/ana belongs to ana, not to root, the account the phone would log in to"));
    section.render(CompanionCore::Pairing::Failed{CompanionCore::PairingFailure::tooManyWrongCodes}, false,
                   true);
    EXPECT_EQ(section.failure().text(), QStringLiteral("too many wrong codes"));
}

TEST(TranslationsTest, SpanishAndUnknownLocalesShowTheSpanishKeys) {
    for (const QLocale& locale : {QLocale(QLocale::Spanish, QLocale::Spain), QLocale::c(),
                                  QLocale(QLocale::Japanese, QLocale::Japan)}) {
        const LanguageScope language(locale);
        EXPECT_FALSE(language.installed) << locale.name().toStdString();
        PanelWorld world;
        world.build();
        EXPECT_EQ(world.panel().refreshButton().text(), QStringLiteral("Actualizar"));
    }
}

TEST(TranslationsTest, TextWithoutTranslationFallsBackToItsSpanishKey) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(QCoreApplication::translate("CompanionApp::ContentView", "Un texto sin traducción"),
              QStringLiteral("Un texto sin traducción"));
}

TEST(TranslationsTest, ChangingTheLanguageRerendersAnOpenPanel) {
    PanelWorld world;
    world.buildAndShow();
    EXPECT_EQ(world.panel().quitButton().text(), QStringLiteral("Salir"));
    {
        const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedStates));
        QCoreApplication::processEvents();
        EXPECT_EQ(world.panel().quitButton().text(), QStringLiteral("Quit"));
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(world.panel().quitButton().text(), QStringLiteral("Salir"));
}

TEST(TranslationsTest, EveryTextOfTheCatalogueHasItsEnglishTranslation) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedStates));
    const auto entries = catalogue();
    EXPECT_GT(entries.size(), minimumCatalogueSize);
    for (const auto& entry : entries) {
        const QByteArray context = entry.context.toUtf8();
        const QByteArray source = entry.source.toUtf8();
        const QString translated = QCoreApplication::translate(context.constData(), source.constData());
        EXPECT_EQ(translated, entry.translation) << context.constData() << ": " << source.constData();
        // Only the product's own names read the same in both languages.
        if (!names.contains(entry.source)) {
            EXPECT_NE(translated, entry.source) << context.constData() << ": " << source.constData();
        }
    }
    EXPECT_EQ(CompanionApp::Translations::fill(
                  QCoreApplication::translate("TmuxNotifier", "«%@» ha terminado tras %@."),
                  {QStringLiteral("make"), QStringLiteral("5 min")}),
              QStringLiteral("“make” finished after 5 min."));
}

TEST(TranslationsTest, CompanionLayerMessagesReachTheUserInEnglish) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedStates));
    auto runner = std::make_shared<TestSupport::FakeProcessRunner>();
    EXPECT_EQ(Companion::LinuxSystemActions(runner).packageManagerMissingMessage(),
              "Cannot find apt, dnf, pacman or zypper. Install mosh and tmux with your system’s package "
              "manager and "
              "press again.");
    EXPECT_EQ(Companion::MacSystemActions(runner).packageManagerMissingMessage(),
              "Homebrew is not installed. Install it from brew.sh and press again.");
    runner->setResult(TestSupport::exited(1));
    EXPECT_EQ(Companion::MacSystemActions(runner).openTerminal("brew install tmux"),
              "Cannot type into Terminal (Automation permission). I copied “brew install tmux”: paste it "
              "into Terminal and press Return.");

    PanelWorld world;
    world.executables->add(std::string(PanelWorld::systemBin) + "/tmux");
    world.setTmuxForeground("make");
    world.buildAndShow();
    world.panel().watchRow().toggle().click();
    world.waitForNextPoll();
    world.clock.advance(95);
    world.setTmuxForeground("zsh");
    world.waitForNextPoll();
    EXPECT_EQ(world.model().tmuxNotifier().lastFinished(),
              std::optional<std::string>("“make” finished after 1 min 35 s."));
    ASSERT_EQ(world.notifications->posted.size(), 1U);
    EXPECT_EQ(world.notifications->posted.front().first, "nuvexa");
    saveArtifact(world.panel());
}

TEST(TranslationsTest, TheRevokeQuestionsLinesAndItsOutcomeReachTheUserInEnglish) {
    const LanguageScope english(QLocale(QLocale::English, QLocale::UnitedStates));
    ASSERT_TRUE(english.installed);
    const std::string key = "ssh-ed25519 " + TestSupport::SampleKeys::ed25519;
    PanelWorld world;
    std::filesystem::create_directories(world.home / ".ssh");
    TestSupport::writeFile(world.home / ".ssh" / "authorized_keys",
                           key + " nuvexa:iPhone de Ana\nrestrict " + key + " backup\n");
    world.buildAndShow();
    ASSERT_TRUE(world.clickRevoke(0));
    EXPECT_EQ(world.revokeOtherLines,
              std::vector<QStringList>{{QStringLiteral("line 2: restrict ssh-ed25519 … backup")}});
    EXPECT_EQ(world.panel().lastError().text(),
              QStringLiteral("“iPhone de Ana” can still log in: its key is still on line 1."));
}

// Run in processes started with a given LC_ALL/LANG (see CMakeLists.txt), which name the language
// expected in NUVEXA_EXPECTED_LANGUAGE.
TEST(SystemLocale, PanelFollowsTheSystemLocale) {
    const char* expected = std::getenv("NUVEXA_EXPECTED_LANGUAGE");
    ASSERT_NE(expected, nullptr) << "run through CTest, which sets the locale and the expected language";
    const bool installed = CompanionApp::Translations::install(*qApp);
    PanelWorld world;
    world.buildAndShow();
    if (std::string(expected) == "en") {
        EXPECT_TRUE(installed) << QLocale::system().name().toStdString();
        EXPECT_EQ(world.panel().refreshButton().text(), QStringLiteral("Refresh"));
        EXPECT_EQ(world.panel().pairingSection().startButton().text(),
                  QStringLiteral("Pair with the iPhone"));
    } else {
        EXPECT_FALSE(installed) << QLocale::system().name().toStdString();
        EXPECT_EQ(world.panel().refreshButton().text(), QStringLiteral("Actualizar"));
        EXPECT_EQ(world.panel().pairingSection().startButton().text(),
                  QStringLiteral("Emparejar con el iPhone"));
    }
    saveArtifact(world.panel(), "." + QLocale::system().name().toStdString());
}

} // namespace
