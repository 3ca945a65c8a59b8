#include "CompanionApp/PairingSection.h"

#include "Companion/ActivityText.h"
#include "Companion/KeyDoctor.h"
#include "Companion/PairingFailureText.h"
#include "Companion/PlatformWords.h"
#include "CompanionApp/BusyIndicator.h"
#include "CompanionApp/PanelAccessibility.h"
#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/StatusSymbol.h"
#include "CompanionApp/Translations.h"
#include "CompanionCore/Overloaded.h"
#include "CompanionCore/server/PairingServer.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace CompanionApp {

namespace {

using PanelStyle::Tone;

/// The blank goes before this character of the code.
constexpr qsizetype codeGroupSize = 3;

QVBoxLayout* viewLayout(QWidget* view) {
    auto* layout = new QVBoxLayout(view);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(PanelStyle::pairingSpacing);
    return layout;
}

/// A symbol followed by a text, on one line.
QHBoxLayout* symbolLine(StatusSymbol* symbol, QLabel* text) {
    auto* line = new QHBoxLayout;
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(PanelStyle::pairingSpacing);
    line->addWidget(symbol, 0, Qt::AlignVCenter);
    line->addWidget(text, 1, Qt::AlignVCenter);
    return line;
}

} // namespace

PairingSection::PairingSection(QWidget* parent)
    : QWidget(parent) {
    setExpiry(CompanionCore::PairingServer::Options{}.expiry);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    buildStartView();
    layout->addWidget(m_startView);
    m_progress = new BusyIndicator(this);
    m_progress->setObjectName(QStringLiteral("pairingProgress"));
    layout->addWidget(m_progress, 0, Qt::AlignLeft);
    buildCodeView();
    layout->addWidget(m_codeView);
    buildPairedView();
    layout->addWidget(m_pairedView);
    render(CompanionCore::Pairing::Idle{}, false, false);
}

void PairingSection::setExpiry(std::chrono::milliseconds expiry) {
    m_expiryMinutes = static_cast<int>(std::chrono::ceil<std::chrono::minutes>(expiry).count());
}

void PairingSection::buildStartView() {
    m_startView = new QWidget(this);
    m_startView->setObjectName(QStringLiteral("startView"));
    auto* layout = viewLayout(m_startView);
    m_startButton = PanelStyle::makeButton(m_startView);
    m_startButton->setObjectName(QStringLiteral("startButton"));
    layout->addWidget(m_startButton, 0, Qt::AlignLeft);
    m_explanation = PanelStyle::makeCaption(m_startView, Tone::secondary, true);
    m_explanation->setObjectName(QStringLiteral("explanation"));
    layout->addWidget(m_explanation);
    m_failure = PanelStyle::makeCaption(m_startView, Tone::error, true);
    m_failure->setObjectName(QStringLiteral("failure"));
    layout->addWidget(m_failure);
    connect(m_startButton, &QPushButton::clicked, this, &PairingSection::startRequested);
}

void PairingSection::buildCodeView() {
    m_codeView = new QWidget(this);
    m_codeView->setObjectName(QStringLiteral("codeView"));
    auto* layout = viewLayout(m_codeView);
    m_codeCaption = PanelStyle::makeCaption(m_codeView, Tone::secondary);
    m_codeCaption->setObjectName(QStringLiteral("codeCaption"));
    layout->addWidget(m_codeCaption);
    m_code = new QLabel(m_codeView);
    m_code->setObjectName(QStringLiteral("code"));
    m_code->setFont(PanelStyle::codeFont());
    m_code->setTextFormat(Qt::PlainText);
    // Selectable, so the code can be copied into a phone's clipboard by other means.
    m_code->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_code->setCursor(Qt::IBeamCursor);
    layout->addWidget(m_code);
    m_portLine = PanelStyle::makeCaption(m_codeView, Tone::secondary);
    m_portLine->setObjectName(QStringLiteral("portLine"));
    layout->addWidget(m_portLine);
    m_announcementSymbol = new StatusSymbol(StatusSymbol::Symbol::hourglass, QColor(), m_codeView);
    m_announcement = PanelStyle::makeCaption(m_codeView, Tone::secondary);
    m_announcement->setObjectName(QStringLiteral("announcement"));
    layout->addLayout(symbolLine(m_announcementSymbol, m_announcement));
    m_cancelButton = PanelStyle::makeSmallButton(m_codeView);
    m_cancelButton->setObjectName(QStringLiteral("cancelButton"));
    layout->addWidget(m_cancelButton, 0, Qt::AlignLeft);
    connect(m_cancelButton, &QPushButton::clicked, this, &PairingSection::stopRequested);
}

void PairingSection::buildPairedView() {
    m_pairedView = new QWidget(this);
    m_pairedView->setObjectName(QStringLiteral("pairedView"));
    auto* layout = viewLayout(m_pairedView);
    m_pairedSymbol = new StatusSymbol(StatusSymbol::Symbol::checkmarkSealFill, QColor(), m_pairedView);
    m_pairedLine = new QLabel(m_pairedView);
    m_pairedLine->setObjectName(QStringLiteral("pairedLine"));
    m_pairedLine->setTextFormat(Qt::PlainText);
    m_pairedLine->setWordWrap(true);
    PanelStyle::setTone(*m_pairedLine, Tone::positive);
    layout->addLayout(symbolLine(m_pairedSymbol, m_pairedLine));
    m_pairedNote = PanelStyle::makeCaption(m_pairedView, Tone::secondary, true);
    m_pairedNote->setObjectName(QStringLiteral("pairedNote"));
    layout->addWidget(m_pairedNote);
    m_keyCheckLine = PanelStyle::makeCaption(m_pairedView, Tone::secondary, true);
    m_keyCheckLine->setObjectName(QStringLiteral("keyCheckLine"));
    m_keyCheckLine->setVisible(false);
    layout->addWidget(m_keyCheckLine);
    m_hostKeyLine = PanelStyle::makeCaption(m_pairedView, Tone::secondary, true);
    m_hostKeyLine->setObjectName(QStringLiteral("hostKeyLine"));
    m_hostKeyLine->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_hostKeyLine->setVisible(false);
    layout->addWidget(m_hostKeyLine);
    m_loginProofLine = PanelStyle::makeCaption(m_pairedView, Tone::secondary, true);
    m_loginProofLine->setObjectName(QStringLiteral("loginProofLine"));
    m_loginProofLine->setVisible(false);
    layout->addWidget(m_loginProofLine);
    m_pairAnotherButton = PanelStyle::makeSmallButton(m_pairedView);
    m_pairAnotherButton->setObjectName(QStringLiteral("pairAnotherButton"));
    layout->addWidget(m_pairAnotherButton, 0, Qt::AlignLeft);
    connect(m_pairAnotherButton, &QPushButton::clicked, this, &PairingSection::startRequested);
}

void PairingSection::render(const CompanionCore::PairingState& state, bool announced, bool remoteLogin) {
    bool showStart = false;
    bool showProgress = false;
    bool showCode = false;
    bool showPaired = false;
    // The hidden views keep texts too: those of no session.
    std::optional<QString> failure;
    QString digits;
    std::uint16_t port = 0;
    QString device;
    std::visit(CompanionCore::Overloaded{
                   [&](const CompanionCore::Pairing::Idle&) { showStart = true; },
                   [&](const CompanionCore::Pairing::Failed& failed) {
                       showStart = true;
                       failure = Companion::PairingFailureText::describe(failed);
                   },
                   [&](const CompanionCore::Pairing::Starting&) { showProgress = true; },
                   [&](const CompanionCore::Pairing::Waiting& waiting) {
                       showCode = true;
                       digits = QString::fromStdString(waiting.digits);
                       port = waiting.port;
                   },
                   [&](const CompanionCore::Pairing::Paired& paired) {
                       showPaired = true;
                       device = QString::fromStdString(paired.device);
                   },
               },
               state);

    m_startButton->setText(tr("Emparejar con el iPhone"));
    // Pairing is offered only once the SSH server is on; its check row offers the way to turn it on.
    m_startButton->setEnabled(remoteLogin);
    const QString whyDisabled =
        remoteLogin ? QString()
                    : tr("Para emparejar, activa antes el inicio de sesión remoto (SSH), más arriba.");
    m_startButton->setToolTip(whyDisabled);
    PanelAccessibility::setDescription(*m_startButton, whyDisabled);
    m_explanation->setText(Companion::PlatformWords::pairingExplanation(m_wording));
    m_failure->setText(failure.value_or(QString()));
    m_failure->setVisible(failure.has_value());

    m_codeCaption->setText(tr("Código para el iPhone"));
    m_code->setText(formattedCode(digits));
    // Read digit by digit, not as one large number.
    PanelAccessibility::setName(*m_code, spokenCode(digits));
    PanelAccessibility::setDescription(*m_code, m_codeCaption->text());
    // The session's whole lifetime, not a countdown.
    m_portLine->setText(Translations::fill(tr("Esperando al iPhone en el puerto %d · caduca en %d min"),
                                           {QString::number(port), QString::number(m_expiryMinutes)}));
    const Tone announcementTone = announced ? Tone::positive : Tone::secondary;
    m_announcementSymbol->setSymbol(announced ? StatusSymbol::Symbol::radioWaves
                                              : StatusSymbol::Symbol::hourglass,
                                    PanelStyle::colour(announcementTone, palette()));
    m_announcement->setText(announced ? Companion::PlatformWords::sessionVisible(m_wording)
                                      : tr("Anunciando en la red local…"));
    PanelStyle::setTone(*m_announcement, announcementTone);
    m_cancelButton->setText(tr("Cancelar"));

    m_pairedSymbol->setSymbol(StatusSymbol::Symbol::checkmarkSealFill,
                              PanelStyle::colour(Tone::positive, palette()));
    m_pairedLine->setText(Translations::fill(tr("Emparejado con %@"), {device}));
    m_pairedNote->setText(tr("La llave está en ~/.ssh/authorized_keys. Ya puedes conectar desde nuvexa."));
    m_pairAnotherButton->setText(tr("Emparejar otro"));

    m_startView->setVisible(showStart);
    m_progress->setVisible(showProgress);
    m_codeView->setVisible(showCode);
    m_pairedView->setVisible(showPaired);
}

void PairingSection::renderKeyCheck(const std::optional<Companion::KeyCheckState>& check) {
    m_keyCheckLine->setVisible(check.has_value());
    m_hostKeyLine->setVisible(check && check->hostKey);
    if (!check) {
        return;
    }
    Tone tone = Tone::secondary;
    switch (check->stage) {
    case Companion::KeyCheckState::Stage::checking:
        m_keyCheckLine->setText(tr("Comprobando la llave con el servidor SSH…"));
        break;
    case Companion::KeyCheckState::Stage::works:
        tone = Tone::positive;
        m_keyCheckLine->setText(check->text);
        break;
    case Companion::KeyCheckState::Stage::refused:
        tone = Tone::warning;
        m_keyCheckLine->setText(check->text);
        break;
    }
    PanelStyle::setTone(*m_keyCheckLine, tone);
    m_hostKeyLine->setText(Companion::KeyDoctor::hostKeyLine(check->hostKey.value_or(QString())));
}

void PairingSection::renderLoginProof(const std::optional<Companion::PairingSession::LoginProof>& proof) {
    m_loginProofLine->setVisible(proof.has_value());
    if (!proof) {
        return;
    }
    if (proof->login) {
        m_loginProofLine->setText(Companion::ActivityText::loggedInFrom(*proof->login));
        m_loginProofLine->setToolTip(Companion::ActivityText::exactTime(proof->login->time));
        PanelStyle::setTone(*m_loginProofLine, Tone::positive);
    } else {
        m_loginProofLine->setText(proof->unreadable.value_or(Companion::ActivityText::waitingForLogin()));
        m_loginProofLine->setToolTip(QString());
        PanelStyle::setTone(*m_loginProofLine, Tone::secondary);
    }
}

QString PairingSection::spokenCode(const QString& digits) {
    QStringList characters;
    for (const QChar character : digits) {
        characters << QString(character);
    }
    return characters.join(u' ');
}

QString PairingSection::formattedCode(const QString& digits) {
    if (digits.size() <= codeGroupSize) {
        return digits;
    }
    return digits.left(codeGroupSize) + u' ' + digits.mid(codeGroupSize);
}

} // namespace CompanionApp
