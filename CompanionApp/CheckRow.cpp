#include "CompanionApp/CheckRow.h"

#include "CompanionApp/BusyIndicator.h"
#include "CompanionApp/ElidedLabel.h"
#include "CompanionApp/PanelAccessibility.h"
#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/StatusSymbol.h"
#include "CompanionApp/Translations.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace CompanionApp {

namespace {

constexpr int rowSpacing = 8;

} // namespace

CheckRow::CheckRow(QWidget* parent)
    : QWidget(parent)
    , m_symbol(new StatusSymbol(StatusSymbol::Symbol::xmarkCircle, QColor(), this))
    , m_title(new QLabel(this))
    , m_detail(new ElidedLabel(this))
    , m_findings(PanelStyle::makeCaption(this, PanelStyle::Tone::secondary, true))
    , m_button(PanelStyle::makeSmallButton(this))
    , m_busy(new BusyIndicator(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(rowSpacing);

    // The symbol sits on the title's line, centred on it.
    auto* symbolColumn = new QVBoxLayout;
    symbolColumn->setContentsMargins(
        0, std::max(0, (m_title->fontMetrics().height() - PanelStyle::symbolSize) / 2), 0, 0);
    symbolColumn->addWidget(m_symbol);
    symbolColumn->addStretch();
    row->addLayout(symbolColumn);

    auto* texts = new QVBoxLayout;
    texts->setContentsMargins(0, 0, 0, 0);
    texts->setSpacing(PanelStyle::detailSpacing);
    texts->addWidget(m_title);
    m_detail->setFont(PanelStyle::captionFont());
    texts->addWidget(m_detail);
    // The remedies name commands to type: they can be selected and copied.
    m_findings->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_findings->hide();
    texts->addWidget(m_findings);
    // The texts take the width the button leaves; the detail then loses its middle.
    row->addLayout(texts, 1);

    m_busy->hide();
    row->addWidget(m_busy, 0, Qt::AlignVCenter);
    m_button->hide();
    row->addWidget(m_button, 0, Qt::AlignVCenter);
    connect(m_button, &QPushButton::clicked, this, [this] {
        // A running job is never queued a second time.
        if (m_content.action && !m_content.busy) {
            m_content.action();
        }
    });
    applyTones();
}

void CheckRow::setContent(Content content) {
    m_content = std::move(content);
    m_title->setText(m_content.title);
    m_detail->setText(m_content.detail);
    m_findings->setText(m_content.findings);
    m_findings->setVisible(!m_content.findings.isEmpty());
    m_button->setText(m_content.actionTitle.value_or(QString()));
    m_button->setVisible(m_content.actionTitle.has_value());
    m_button->setEnabled(!m_content.busy);
    m_busy->setVisible(m_content.busy && m_content.actionTitle.has_value());
    applyTones();
    nameForScreenReaders();
}

void CheckRow::nameForScreenReaders() {
    // Whether the check passed is drawn by colour and shape only: the row says it in words.
    PanelAccessibility::setName(*this, m_content.ok
                                           ? Translations::fill(tr("%@: listo"), {m_content.title})
                                           : Translations::fill(tr("%@: pendiente"), {m_content.title}));
    PanelAccessibility::setDescription(
        *this, m_content.findings.isEmpty() ? m_content.detail
                                            : m_content.detail + QStringLiteral("\n") + m_content.findings);
    if (m_content.actionTitle) {
        PanelAccessibility::setDescription(*m_button, m_content.title);
    }
}

void CheckRow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange) {
        applyTones();
    } else if (event->type() == QEvent::LanguageChange) {
        nameForScreenReaders();
    }
}

void CheckRow::applyTones() {
    // The not-ok symbol is a quiet grey on purpose: a missing tool is not an error.
    if (m_content.ok) {
        m_symbol->setSymbol(StatusSymbol::Symbol::checkmarkCircleFill,
                            PanelStyle::colour(PanelStyle::Tone::positive, palette()));
    } else {
        m_symbol->setSymbol(StatusSymbol::Symbol::xmarkCircle,
                            PanelStyle::colour(PanelStyle::Tone::secondary, palette()));
    }
    PanelStyle::setTone(*m_detail, PanelStyle::Tone::secondary);
    PanelStyle::setTone(*m_findings, PanelStyle::Tone::secondary);
}

} // namespace CompanionApp
