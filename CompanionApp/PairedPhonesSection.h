#pragma once

#include "Companion/PhoneActivity.h"
#include "CompanionCore/PairedDevice.h"

#include <QWidget>

#include <chrono>
#include <optional>
#include <vector>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace CompanionApp {

/// "Teléfonos emparejados": each phone whose key lets it log in, with its name, a short form of its
/// key's fingerprint, what it has done (connected now, its mosh sessions, its last login, the exact
/// time in a tooltip) and a "Revocar…" button. Hidden when there is none. It holds no state of its
/// own: `render` draws it from the phones given.
class PairedPhonesSection : public QWidget {
    Q_OBJECT

public:
    explicit PairedPhonesSection(QWidget* parent = nullptr);

    /// `activity` is in the order of `phones` (absent while unknown); `now` dates the last logins.
    void render(const std::vector<CompanionCore::PairedDevice>& phones,
                const std::optional<Companion::ActivityReading>& activity = std::nullopt,
                std::chrono::system_clock::time_point now = std::chrono::system_clock::now());

    QLabel& title() const { return *m_title; }
    /// Said once, not once per phone: why no last login is shown and how to allow it.
    QLabel& recordsNote() const { return *m_recordsNote; }
    /// Each phone's activity line, in the list's order.
    std::vector<QLabel*> activityLines() const;
    /// One button per phone, in the list's order.
    std::vector<QPushButton*> revokeButtons() const;

    /// "SHA256:" and the first characters of the fingerprint: enough to tell keys apart at a glance.
    static QString shortFingerprint(const CompanionCore::PairedDevice& phone);

signals:
    /// The user asked to revoke `phone` (not yet confirmed).
    void revokeRequested(const CompanionCore::PairedDevice& phone);

private:
    void rebuildRows(const std::vector<CompanionCore::PairedDevice>& phones);

    QLabel* m_title;
    QLabel* m_recordsNote;
    QWidget* m_rows;
    QVBoxLayout* m_rowLayout;
    std::vector<CompanionCore::PairedDevice> m_phones;
    std::vector<QLabel*> m_activityLines;
};

} // namespace CompanionApp
