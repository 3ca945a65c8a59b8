#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <optional>

class QLabel;
class QPushButton;

namespace CompanionApp {

class BusyIndicator;
class ElidedLabel;
class StatusSymbol;

/// One line of the checks list: a status symbol, the name of what is checked with one line of state
/// below it, and on the trailing edge an optional button that repairs it.
class CheckRow : public QWidget {
    Q_OBJECT

public:
    struct Content {
        /// The check passed.
        bool ok = false;
        /// Name of the thing checked.
        QString title;
        /// One line of state text; a long one loses its middle.
        QString detail;
        /// Label of the row's button; absent means the row has no button.
        std::optional<QString> actionTitle;
        /// What the button does, on the UI thread.
        std::function<void()> action;
        /// The action is running: the button is disabled beside a spinning indicator.
        bool busy = false;
        /// What a deeper look found and how to fix it, shown whole below the state; empty hides it.
        QString findings = {};
    };

    explicit CheckRow(QWidget* parent = nullptr);

    void setContent(Content content);
    const Content& content() const { return m_content; }

    StatusSymbol& symbol() const { return *m_symbol; }
    QLabel& titleLabel() const { return *m_title; }
    ElidedLabel& detailLabel() const { return *m_detail; }
    /// Hidden when the row has no findings.
    QLabel& findingsLabel() const { return *m_findings; }
    /// Hidden when the row has no action.
    QPushButton& button() const { return *m_button; }
    /// Shown beside the button while the action runs.
    BusyIndicator& busyIndicator() const { return *m_busy; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyTones();
    void nameForScreenReaders();

    Content m_content;
    StatusSymbol* m_symbol;
    QLabel* m_title;
    ElidedLabel* m_detail;
    QLabel* m_findings;
    QPushButton* m_button;
    BusyIndicator* m_busy;
};

} // namespace CompanionApp
