#include "CompanionApp/PairedPhonesSection.h"

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

std::vector<QPushButton*> PairedPhonesSection::revokeButtons() const {
    const auto buttons = m_rows->findChildren<QPushButton*>();
    return {buttons.begin(), buttons.end()};
}

void PairedPhonesSection::render(const std::vector<CompanionCore::PairedDevice>& phones) {
    m_title->setText(tr("Teléfonos emparejados"));
    setVisible(!phones.empty());
    if (phones == m_phones && m_rowLayout->count() == static_cast<int>(phones.size())) {
        return;
    }
    m_phones = phones;
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
        textLayout->addWidget(name);
        textLayout->addWidget(detail);
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
