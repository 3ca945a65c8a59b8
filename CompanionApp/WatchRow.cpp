#include "CompanionApp/WatchRow.h"

#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/Switch.h"
#include "CompanionApp/Translations.h"

#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace CompanionApp {

using PanelStyle::Tone;

WatchRow::WatchRow(QWidget* parent)
    : QWidget(parent)
    , m_switch(new Switch(QString(), this))
    , m_state(PanelStyle::makeCaption(this, Tone::secondary))
    , m_refused(PanelStyle::makeCaption(this, Tone::warning, true))
    , m_lastFinished(PanelStyle::makeCaption(this, Tone::positive, true)) {
    m_switch->setObjectName(QStringLiteral("watchSwitch"));
    m_state->setObjectName(QStringLiteral("watchState"));
    m_refused->setObjectName(QStringLiteral("notificationsRefused"));
    m_lastFinished->setObjectName(QStringLiteral("lastFinished"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(PanelStyle::watchSpacing);
    layout->addWidget(m_switch);
    layout->addWidget(m_state);
    layout->addWidget(m_refused);
    layout->addWidget(m_lastFinished);
    connect(m_switch, &Switch::toggled, this, &WatchRow::enabledToggled);
    render({});
}

void WatchRow::render(const Facts& facts) {
    m_switch->setText(tr("Avisarme cuando termine algo largo"));
    {
        // Follows the notifier, which may switch itself off; only the user's flips are reported.
        const QSignalBlocker blocker(m_switch);
        m_switch->setChecked(facts.enabled);
    }
    m_switch->setEnabled(facts.tmuxFound);

    bool showState = false;
    if (!facts.tmuxFound) {
        m_state->setText(tr("Necesita tmux y la sesión persistente de nuvexa."));
        showState = true;
    } else if (facts.enabled) {
        m_state->setText(
            facts.running ? Translations::fill(tr("vigilando «%@»"), {QString::fromStdString(*facts.running)})
                          : tr("nada en marcha en la sesión nuvexa"));
        showState = true;
    }
    m_state->setVisible(showState);

    m_refused->setText(facts.notificationsUnavailable
                           ? tr("Ningún servicio de notificaciones responde: el aviso solo se verá aquí.")
                           : tr("Sin permiso de notificaciones: el aviso solo se verá aquí."));
    m_refused->setVisible(facts.tmuxFound && facts.enabled &&
                          (facts.notificationsRefused || facts.notificationsUnavailable));

    // Shown whether or not watching is on now.
    m_lastFinished->setText(QString::fromStdString(facts.lastFinished.value_or(std::string())));
    m_lastFinished->setVisible(facts.lastFinished.has_value());
}

} // namespace CompanionApp
