#include "CompanionApp/PairedPhonesSection.h"

#include "Companion/ActivityText.h"
#include "CompanionApp/ElidedLabel.h"
#include "CompanionApp/PanelAccessibility.h"
#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/Translations.h"
#include "CompanionCore/SshPublicKey.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace CompanionApp {

namespace {

/// Characters of the fingerprint's base64 shown after "SHA256:".
constexpr int shortFingerprintLength = 12;

} // namespace

PairedPhonesSection::PairedPhonesSection(QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(PanelStyle::checksSpacing);
    m_title = PanelStyle::makeCaption(this, PanelStyle::Tone::secondary);
    m_title->setObjectName(QStringLiteral("pairedPhonesTitle"));
    layout->addWidget(m_title);
    m_recordsNote = PanelStyle::makeCaption(this, PanelStyle::Tone::secondary, true);
    m_recordsNote->setObjectName(QStringLiteral("recordsNote"));
    m_recordsNote->setVisible(false);
    layout->addWidget(m_recordsNote);
    m_rows = new QWidget(this);
    m_rowLayout = new QVBoxLayout(m_rows);
    m_rowLayout->setContentsMargins(0, 0, 0, 0);
    m_rowLayout->setSpacing(PanelStyle::checksSpacing);
    layout->addWidget(m_rows);
    render({});
}

QString PairedPhonesSection::shortFingerprint(const CompanionCore::PairedDevice& phone) {
    const auto fingerprint = CompanionCore::SshPublicKey::fingerprint(phone.keyType, phone.blob);
    if (!fingerprint) {
        return QString::fromStdString(phone.keyType);
    }
    const QString text = QString::fromStdString(*fingerprint);
    const int prefix = static_cast<int>(std::string_view("SHA256:").size());
    return text.left(prefix + shortFingerprintLength) + QStringLiteral("…");
}

std::vector<QLabel*> PairedPhonesSection::activityLines() const {
    return m_activityLines;
}

std::vector<QPushButton*> PairedPhonesSection::revokeButtons() const {
    const auto buttons = m_rows->findChildren<QPushButton*>();
    return {buttons.begin(), buttons.end()};
}

void PairedPhonesSection::render(const std::vector<CompanionCore::PairedDevice>& phones,
                                 const std::optional<Companion::ActivityReading>& activity,
                                 std::chrono::system_clock::time_point now) {
    m_title->setText(tr("Teléfonos emparejados"));
    setVisible(!phones.empty());
    const bool readable = activity && !activity->unreadable;
    m_recordsNote->setVisible(activity && activity->unreadable);
    m_recordsNote->setText(activity ? activity->unreadable.value_or(QString()) : QString());
    if (phones != m_phones || m_rowLayout->count() != static_cast<int>(phones.size())) {
        rebuildRows(phones);
    }
    for (std::size_t index = 0; index < m_activityLines.size(); ++index) {
        QLabel& line = *m_activityLines[index];
        const bool known = activity && index < activity->phones.size();
        const auto pieces =
            known ? Companion::ActivityText::pieces(activity->phones[index], readable, now) : QStringList();
        line.setVisible(!pieces.isEmpty());
        line.setText(pieces.join(QStringLiteral(" · ")));
        QStringList exact;
        if (known && readable) {
            const auto& phone = activity->phones[index];
            if (phone.lastLogin) {
                exact << Translations::fill(tr("Último acceso: %@"),
                                            {Companion::ActivityText::exactTime(phone.lastLogin->time)});
            }
            if (phone.refusedLast) {
                exact << Translations::fill(tr("Último intento rechazado: %@"),
                                            {Companion::ActivityText::exactTime(phone.refusedLast->time)});
            }
        }
        line.setToolTip(exact.join(u'\n'));
        PanelStyle::setTone(line, known && activity->phones[index].connectedNow
                                      ? PanelStyle::Tone::positive
                                      : PanelStyle::Tone::secondary);
    }
}

void PairedPhonesSection::rebuildRows(const std::vector<CompanionCore::PairedDevice>& phones) {
    m_phones = phones;
    m_activityLines.clear();
    while (QLayoutItem* item = m_rowLayout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const auto& phone : m_phones) {
        auto* row = new QWidget(m_rows);
        row->setObjectName(QStringLiteral("pairedPhone"));
        auto* rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 0, 0, 0);
        auto* text = new QWidget(row);
        auto* textLayout = new QVBoxLayout(text);
        textLayout->setContentsMargins(0, 0, 0, 0);
        textLayout->setSpacing(0);
        // A long name ends in an ellipsis rather than pushing the button out or being cut mid-word.
        auto* name = new ElidedLabel(ElidedLabel::Overflow::name, text);
        name->setObjectName(QStringLiteral("pairedPhoneName"));
        name->setText(QString::fromStdString(phone.name));
        auto* detail = PanelStyle::makeCaption(text, PanelStyle::Tone::secondary);
        detail->setObjectName(QStringLiteral("pairedPhoneDetail"));
        //: shown after the fingerprint of a phone's earlier key
        detail->setText(phone.older ? shortFingerprint(phone) + tr(" · clave anterior")
                                    : shortFingerprint(phone));
        auto* activity = PanelStyle::makeCaption(text, PanelStyle::Tone::secondary, true);
        activity->setObjectName(QStringLiteral("pairedPhoneActivity"));
        activity->setVisible(false);
        m_activityLines.push_back(activity);
        textLayout->addWidget(name);
        textLayout->addWidget(detail);
        textLayout->addWidget(activity);
        rowLayout->addWidget(text, 1);
        auto* button = PanelStyle::makeSmallButton(row);
        button->setObjectName(QStringLiteral("revokeButton"));
        button->setText(tr("Revocar…"));
        // The buttons look alike; each says whose access it takes away.
        const QString revokeName =
            Translations::fill(tr("Revocar «%@»…"), {QString::fromStdString(phone.name)});
        PanelAccessibility::setName(*button, revokeName);
        button->setToolTip(revokeName);
        connect(button, &QPushButton::clicked, this, [this, phone] { emit revokeRequested(phone); });
        rowLayout->addWidget(button);
        m_rowLayout->addWidget(row);
        row->show();
    }
}

} // namespace CompanionApp
