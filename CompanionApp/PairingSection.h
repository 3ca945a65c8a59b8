#pragma once

#include "Companion/KeyCheckState.h"
#include "Companion/PairingSession.h"
#include "Companion/Wording.h"

#include "CompanionCore/server/PairingState.h"

#include <QString>
#include <QWidget>

#include <chrono>
#include <optional>

class QLabel;
class QPushButton;

namespace CompanionApp {

class BusyIndicator;
class StatusSymbol;

/// The pairing part of the panel. Shows one of three views after the pairing server's state: the
/// start view (idle, or failed with the reason under it), the code view while a phone may pair, and
/// the paired view; while the listener starts, only a small busy indicator. It holds no state of its
/// own: `render` draws it from the values given.
class PairingSection : public QWidget {
    Q_OBJECT

public:
    explicit PairingSection(QWidget* parent = nullptr);

    /// Draws the section for `state`; `announced` picks the announcement line of the code view, and
    /// pairing can only be started while `remoteLogin` (the SSH server) is on.
    void render(const CompanionCore::PairingState& state, bool announced, bool remoteLogin);

    /// Draws the paired view's key check line: absent shows nothing, then "checking", then the
    /// verdict (green when the key works, orange with the reason otherwise) and the host key.
    void renderKeyCheck(const std::optional<Companion::KeyCheckState>& check);
    /// Draws the paired view's login line: absent shows nothing; then "Esperando a que el teléfono
    /// inicie sesión…" until the phone's first login, which it names with its address; where the
    /// records cannot be read, how to allow it.
    void renderLoginProof(const std::optional<Companion::PairingSession::LoginProof>& proof);
    /// The platform whose words the explanation and the announcement line use; macOS until set.
    /// Shown at the next `render`.
    void setWording(Companion::Wording wording) { m_wording = wording; }

    /// How long a session waits for the phone, which the waiting line states in whole minutes
    /// (rounded up). The server's default until set.
    void setExpiry(std::chrono::milliseconds expiry);

    /// The code as shown: its characters in order, with one blank before the fourth only.
    static QString formattedCode(const QString& digits);
    /// The code as a screen reader says it: each character on its own.
    static QString spokenCode(const QString& digits);

    QWidget& startView() const { return *m_startView; }
    QPushButton& startButton() const { return *m_startButton; }
    QLabel& explanation() const { return *m_explanation; }
    QLabel& failure() const { return *m_failure; }
    BusyIndicator& progress() const { return *m_progress; }
    QWidget& codeView() const { return *m_codeView; }
    QLabel& codeCaption() const { return *m_codeCaption; }
    QLabel& code() const { return *m_code; }
    QLabel& portLine() const { return *m_portLine; }
    StatusSymbol& announcementSymbol() const { return *m_announcementSymbol; }
    QLabel& announcement() const { return *m_announcement; }
    QPushButton& cancelButton() const { return *m_cancelButton; }
    QWidget& pairedView() const { return *m_pairedView; }
    StatusSymbol& pairedSymbol() const { return *m_pairedSymbol; }
    QLabel& pairedLine() const { return *m_pairedLine; }
    QLabel& pairedNote() const { return *m_pairedNote; }
    QLabel& keyCheckLine() const { return *m_keyCheckLine; }
    QLabel& loginProofLine() const { return *m_loginProofLine; }
    QLabel& hostKeyLine() const { return *m_hostKeyLine; }
    QPushButton& pairAnotherButton() const { return *m_pairAnotherButton; }

signals:
    /// "Emparejar con el iPhone" or "Emparejar otro" was pressed.
    void startRequested();
    /// "Cancelar" was pressed.
    void stopRequested();

private:
    void buildStartView();
    void buildCodeView();
    void buildPairedView();

    QWidget* m_startView;
    QPushButton* m_startButton;
    QLabel* m_explanation;
    Companion::Wording m_wording = Companion::Wording::macos;
    QLabel* m_failure;
    int m_expiryMinutes = 0;
    BusyIndicator* m_progress;
    QWidget* m_codeView;
    QLabel* m_codeCaption;
    QLabel* m_code;
    QLabel* m_portLine;
    StatusSymbol* m_announcementSymbol;
    QLabel* m_announcement;
    QPushButton* m_cancelButton;
    QWidget* m_pairedView;
    StatusSymbol* m_pairedSymbol;
    QLabel* m_pairedLine;
    QLabel* m_pairedNote;
    QLabel* m_keyCheckLine;
    QLabel* m_loginProofLine;
    QLabel* m_hostKeyLine;
    QPushButton* m_pairAnotherButton;
};

} // namespace CompanionApp
