#pragma once

#include "CompanionCore/PairedDevice.h"

#include <QWidget>

#include <vector>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace CompanionApp {

/// "Teléfonos emparejados": each phone whose key lets it log in, with its name, a short form of its
/// key's fingerprint and a "Revocar…" button. Hidden when there is none. It holds no state of its
/// own: `render` draws it from the phones given.
class PairedPhonesSection : public QWidget {
    Q_OBJECT

public:
    explicit PairedPhonesSection(QWidget* parent = nullptr);

    void render(const std::vector<CompanionCore::PairedDevice>& phones);

    QLabel& title() const { return *m_title; }
    /// One button per phone, in the list's order.
    std::vector<QPushButton*> revokeButtons() const;

    /// "SHA256:" and the first characters of the fingerprint: enough to tell keys apart at a glance.
    static QString shortFingerprint(const CompanionCore::PairedDevice& phone);

signals:
    /// The user asked to revoke `phone` (not yet confirmed).
    void revokeRequested(const CompanionCore::PairedDevice& phone);

private:
    QLabel* m_title;
    QWidget* m_rows;
    QVBoxLayout* m_rowLayout;
    std::vector<CompanionCore::PairedDevice> m_phones;
};

} // namespace CompanionApp
