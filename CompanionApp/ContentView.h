#pragma once

#include "Companion/ReadinessCheck.h"
#include "Companion/RevokeScope.h"

#include <QStringList>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class QFrame;
class QLabel;
class QPushButton;
class QScrollArea;
class QVBoxLayout;

namespace Companion {
class CompanionModel;
}

namespace CompanionApp {

class CheckRow;
class PairedPhonesSection;
class PairingSection;
class Switch;
class WatchRow;

/// The panel that drops from the tray or menu bar icon: the header (computer, user, addresses), the
/// checks with their repairs and switches, the pairing section and the footer.
///
/// It holds no state of its own: it re-renders from the model and the three objects the model owns
/// whenever one of their fields changes, and asks the model to refresh each time it appears.
class ContentView : public QWidget {
    Q_OBJECT

public:
    /// What the panel does outside the model's host; each empty member means the real one.
    struct Options {
        /// Opens a file or web address with the desktop's default application.
        std::function<bool(const QUrl& url)> openUrl;
        /// Ends the program.
        std::function<void()> quit;
        /// Asks whether to revoke the phone so named, showing the other lines that hold its key
        /// ("línea 2: …"; none in the usual case). Answers how much to remove, or nothing to
        /// cancel; a dialog over the panel by default.
        std::function<std::optional<Companion::RevokeScope>(const QString& phone,
                                                            const QStringList& otherLines)>
            confirmRevoke;
    };

    explicit ContentView(Companion::CompanionModel& model, QWidget* parent = nullptr);
    ContentView(Companion::CompanionModel& model, Options options, QWidget* parent = nullptr);

    /// Draws every element afresh from the observed objects.
    void render();

    QLabel& title() const { return *m_title; }
    QLabel& computerLine() const { return *m_computerLine; }
    /// One selectable line per address, in the model's order.
    std::vector<QLabel*> addressLabels() const;
    QLabel& homeOnlyNote() const { return *m_homeOnlyNote; }
    /// The readiness rows, one per check of the model, in its order.
    const std::vector<CheckRow*>& checkRows() const { return m_checkRows; }
    /// The row of `item`; it must be among the model's checks.
    CheckRow& checkRow(Companion::ReadinessCheck::Item item) const;
    Switch& keepAwakeSwitch() const { return *m_keepAwakeSwitch; }
    Switch& connectedKeepAwakeSwitch() const { return *m_connectedKeepAwakeSwitch; }
    WatchRow& watchRow() const { return *m_watchRow; }
    QLabel& lastError() const { return *m_lastError; }
    PairingSection& pairingSection() const { return *m_pairingSection; }
    PairedPhonesSection& pairedPhonesSection() const { return *m_pairedPhones; }
    QPushButton& refreshButton() const { return *m_refreshButton; }
    QPushButton& logButton() const { return *m_logButton; }
    QPushButton& quitButton() const { return *m_quitButton; }
    /// Holds the sections; it scrolls them when the panel may not be as tall as they are.
    QScrollArea& scrollArea() const { return *m_scrollArea; }

    /// The panel grows with its content up to `height` (the room the screen leaves), and scrolls
    /// beyond; without a limit it is always as tall as its content.
    void setMaximumPanelHeight(std::optional<int> height);
    std::optional<int> maximumPanelHeight() const { return m_maximumHeight; }
    /// The height the panel's content asks for, which it has unless that exceeds the maximum.
    int contentHeight() const { return m_contentHeight; }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QWidget* buildHeader();
    QWidget* buildChecks();
    QWidget* buildFooter();
    QFrame* divider();
    void connectObserved();

    void renderHeader();
    void renderChecks();
    void fitHeight();
    void announceOpening();
    std::optional<Companion::RevokeScope>
    keptOpenWhileAsking(const std::function<std::optional<Companion::RevokeScope>()>& ask);

    Companion::CompanionModel& m_model;
    Options m_options;

    QScrollArea* m_scrollArea = nullptr;
    QWidget* m_content = nullptr;
    std::optional<int> m_maximumHeight;
    int m_contentHeight = 0;
    QLabel* m_title = nullptr;
    QLabel* m_computerLine = nullptr;
    QWidget* m_addresses = nullptr;
    QVBoxLayout* m_addressLayout = nullptr;
    QLabel* m_homeOnlyNote = nullptr;
    QVBoxLayout* m_checkRowsLayout = nullptr;
    std::vector<CheckRow*> m_checkRows;
    std::vector<Companion::ReadinessCheck::Item> m_checkItems;
    Switch* m_keepAwakeSwitch = nullptr;
    Switch* m_connectedKeepAwakeSwitch = nullptr;
    WatchRow* m_watchRow = nullptr;
    QLabel* m_lastError = nullptr;
    PairingSection* m_pairingSection = nullptr;
    PairedPhonesSection* m_pairedPhones = nullptr;
    QPushButton* m_refreshButton = nullptr;
    QPushButton* m_logButton = nullptr;
    QPushButton* m_quitButton = nullptr;
};

} // namespace CompanionApp
