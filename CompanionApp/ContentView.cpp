#include "CompanionApp/ContentView.h"

#include "CompanionApp/CheckRow.h"
#include "CompanionApp/PairedPhonesSection.h"
#include "CompanionApp/PairingSection.h"
#include "CompanionApp/PanelAccessibility.h"
#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/RevokeConfirmation.h"
#include "CompanionApp/Switch.h"
#include "CompanionApp/Translations.h"
#include "CompanionApp/WatchRow.h"

#include "Companion/CompanionModel.h"
#include "Companion/PlatformWords.h"
#include "CompanionCore/Tools.h"
#include "CompanionCore/server/EventLog.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <array>

namespace CompanionApp {

namespace {

using PanelStyle::Tone;

/// The popup's edge, inside the padding.
constexpr int edgeWidth = 1;

QString fromStd(const std::string& text) {
    return QString::fromStdString(text);
}

ContentView::Options completed(ContentView::Options options, QWidget* panel) {
    if (!options.openUrl) {
        options.openUrl = [](const QUrl& url) { return QDesktopServices::openUrl(url); };
    }
    if (!options.quit) {
        options.quit = [] { QCoreApplication::quit(); };
    }
    if (!options.confirmRevoke) {
        options.confirmRevoke = [panel](const QString& phone, const QStringList& otherLines) {
            return RevokeConfirmation::ask(panel, phone, otherLines);
        };
    }
    return options;
}

QVBoxLayout* stack(QWidget* owner, int spacing) {
    auto* layout = new QVBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

} // namespace

ContentView::ContentView(Companion::CompanionModel& model, QWidget* parent)
    : ContentView(model, Options{}, parent) {}

ContentView::ContentView(Companion::CompanionModel& model, Options options, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_options(completed(std::move(options), this)) {
    PanelAccessibility::install();
    setObjectName(QStringLiteral("panel"));
    // The sections sit in a scroll area, so that a screen too short for them scrolls them instead of
    // cutting them off; one pixel of the padding is left for the popup's edge.
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(edgeWidth, edgeWidth, edgeWidth, edgeWidth);
    m_scrollArea = new QScrollArea(this);
    m_scrollArea->setObjectName(QStringLiteral("scrollArea"));
    m_scrollArea->setFrameShape(QFrame::NoFrame);
    m_scrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scrollArea->setWidgetResizable(true);
    m_scrollArea->viewport()->setAutoFillBackground(false);
    outer->addWidget(m_scrollArea);
    m_content = new QWidget(m_scrollArea);
    m_content->setObjectName(QStringLiteral("content"));
    m_content->setAutoFillBackground(false);
    auto* layout = new QVBoxLayout(m_content);
    const int inner = PanelStyle::padding - edgeWidth;
    layout->setContentsMargins(inner, inner, inner, inner);
    layout->setSpacing(PanelStyle::sectionSpacing);
    layout->addWidget(buildHeader());
    layout->addWidget(divider());
    layout->addWidget(buildChecks());
    layout->addWidget(divider());
    m_pairingSection = new PairingSection(m_content);
    m_pairingSection->setObjectName(QStringLiteral("pairingSection"));
    m_pairingSection->setExpiry(m_model.pairingExpiry());
    layout->addWidget(m_pairingSection);
    m_pairedPhones = new PairedPhonesSection(m_content);
    m_pairedPhones->setObjectName(QStringLiteral("pairedPhonesSection"));
    layout->addWidget(m_pairedPhones);
    layout->addWidget(divider());
    layout->addWidget(buildFooter());
    m_scrollArea->setWidget(m_content);
    setFixedWidth(PanelStyle::contentWidth + 2 * PanelStyle::padding);

    connectObserved();
    render();
}

QWidget* ContentView::buildHeader() {
    auto* header = new QWidget(m_content);
    header->setObjectName(QStringLiteral("header"));
    auto* layout = stack(header, PanelStyle::headerSpacing);
    m_title = new QLabel(header);
    m_title->setObjectName(QStringLiteral("title"));
    m_title->setFont(PanelStyle::headlineFont());
    layout->addWidget(m_title);
    m_computerLine = PanelStyle::makeCaption(header, Tone::secondary);
    m_computerLine->setObjectName(QStringLiteral("computerLine"));
    layout->addWidget(m_computerLine);
    m_addresses = new QWidget(header);
    m_addresses->setObjectName(QStringLiteral("addresses"));
    m_addressLayout = stack(m_addresses, PanelStyle::headerSpacing);
    layout->addWidget(m_addresses);
    m_homeOnlyNote = PanelStyle::makeCaption(header, Tone::warning, true);
    m_homeOnlyNote->setObjectName(QStringLiteral("homeOnlyNote"));
    layout->addWidget(m_homeOnlyNote);
    return header;
}

QWidget* ContentView::buildChecks() {
    auto* checks = new QWidget(m_content);
    checks->setObjectName(QStringLiteral("checks"));
    auto* layout = stack(checks, PanelStyle::checksSpacing);
    // The rows themselves follow the model's list of checks.
    auto* rows = new QWidget(checks);
    rows->setObjectName(QStringLiteral("checkRows"));
    m_checkRowsLayout = stack(rows, PanelStyle::checksSpacing);
    m_keepAwakeSwitch = new Switch(QString(), checks);
    m_keepAwakeSwitch->setObjectName(QStringLiteral("keepAwakeSwitch"));
    m_connectedKeepAwakeSwitch = new Switch(QString(), checks);
    m_connectedKeepAwakeSwitch->setObjectName(QStringLiteral("connectedKeepAwakeSwitch"));
    m_watchRow = new WatchRow(checks);
    m_watchRow->setObjectName(QStringLiteral("watchRow"));
    m_lastError = PanelStyle::makeCaption(checks, Tone::error, true);
    m_lastError->setObjectName(QStringLiteral("lastError"));
    for (QWidget* element : std::initializer_list<QWidget*>{
             rows, m_keepAwakeSwitch, m_connectedKeepAwakeSwitch, m_watchRow, m_lastError}) {
        layout->addWidget(element);
    }
    return checks;
}

QWidget* ContentView::buildFooter() {
    auto* footer = new QWidget(m_content);
    footer->setObjectName(QStringLiteral("footer"));
    auto* layout = new QHBoxLayout(footer);
    layout->setContentsMargins(0, 0, 0, 0);
    m_refreshButton = PanelStyle::makeSmallButton(footer);
    m_refreshButton->setObjectName(QStringLiteral("refreshButton"));
    m_logButton = PanelStyle::makeSmallButton(footer);
    m_logButton->setObjectName(QStringLiteral("logButton"));
    m_quitButton = PanelStyle::makeSmallButton(footer);
    m_quitButton->setObjectName(QStringLiteral("quitButton"));
    layout->addWidget(m_refreshButton);
    layout->addWidget(m_logButton);
    layout->addStretch();
    layout->addWidget(m_quitButton);
    return footer;
}

QFrame* ContentView::divider() {
    auto* line = new QFrame(m_content);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setForegroundRole(QPalette::Mid);
    return line;
}

void ContentView::connectObserved() {
    const auto rerender = [this] { render(); };
    connect(&m_model, &Companion::CompanionModel::readinessChanged, this, rerender);
    connect(&m_model, &Companion::CompanionModel::pendingChanged, this, rerender);
    connect(&m_model, &Companion::CompanionModel::lastErrorChanged, this, rerender);
    connect(&m_model, &Companion::CompanionModel::pairedPhonesChanged, this, rerender);
    auto& pairing = m_model.pairing();
    connect(&pairing, &CompanionCore::PairingServer::stateChanged, this, rerender);
    connect(&pairing, &CompanionCore::PairingServer::announcedChanged, this, rerender);
    connect(&m_model, &Companion::CompanionModel::keyCheckChanged, this, rerender);
    connect(&m_model.keepAwake(), &Companion::KeepAwake::enabledChanged, this, rerender);
    connect(&m_model.connectedKeepAwake(), &Companion::ConnectedKeepAwake::enabledChanged, this, rerender);
    connect(&m_model, &Companion::CompanionModel::loginProofChanged, this, rerender);
    connect(&m_model, &Companion::CompanionModel::phoneActivityChanged, this, rerender);
    auto& notifier = m_model.tmuxNotifier();
    connect(&notifier, &Companion::TmuxNotifier::enabledChanged, this, rerender);
    connect(&notifier, &Companion::TmuxNotifier::runningChanged, this, rerender);
    connect(&notifier, &Companion::TmuxNotifier::lastFinishedChanged, this, rerender);
    connect(&notifier, &Companion::TmuxNotifier::notificationsRefusedChanged, this, rerender);
    connect(&notifier, &Companion::TmuxNotifier::notificationsUnavailableChanged, this, rerender);

    // The user's actions go to the observed objects; the panel follows their changes.
    connect(m_keepAwakeSwitch, &Switch::toggled, this,
            [this](bool on) { m_model.keepAwake().setEnabled(on); });
    connect(m_connectedKeepAwakeSwitch, &Switch::toggled, this,
            [this](bool on) { m_model.connectedKeepAwake().setEnabled(on); });
    connect(m_watchRow, &WatchRow::enabledToggled, this,
            [this](bool on) { m_model.tmuxNotifier().setEnabled(on); });
    connect(m_pairingSection, &PairingSection::startRequested, this, [this] { m_model.pairing().start(); });
    connect(m_pairingSection, &PairingSection::stopRequested, this, [this] { m_model.pairing().stop(); });
    connect(m_pairedPhones, &PairedPhonesSection::revokeRequested, this,
            [this](const CompanionCore::PairedDevice& phone) {
                QStringList otherLines;
                for (const auto& line : m_model.otherLinesHolding(phone)) {
                    otherLines << Translations::fill(
                        tr("línea %d: %@"),
                        {QString::number(line.lineNumber), QString::fromStdString(line.excerpt)});
                }
                const auto scope = keptOpenWhileAsking(
                    [&] { return m_options.confirmRevoke(QString::fromStdString(phone.name), otherLines); });
                if (scope) {
                    m_model.revoke(phone, *scope);
                }
            });
    connect(m_refreshButton, &QPushButton::clicked, this, [this] { m_model.refresh(); });
    connect(m_logButton, &QPushButton::clicked, this, [this] {
        const auto file = m_model.pairing().logFile();
        // Before the first pairing there is no log yet, and an opener shown a missing file says so
        // with an error: an empty log is the honest answer.
        CompanionCore::EventLog::ensureExists(file);
        const QString path = QString::fromStdString(file.string());
        if (!m_options.openUrl(QUrl::fromLocalFile(path))) {
            // With no application to show it, the user still learns where the log is.
            m_model.setLastError(
                Translations::fill(tr("No hay ninguna aplicación para abrir el registro; está en %@"), {path})
                    .toStdString());
        }
    });
    connect(m_quitButton, &QPushButton::clicked, this, [this] { m_options.quit(); });
}

CheckRow& ContentView::checkRow(Companion::ReadinessCheck::Item item) const {
    const auto found = std::find(m_checkItems.begin(), m_checkItems.end(), item);
    return *m_checkRows.at(static_cast<std::size_t>(found - m_checkItems.begin()));
}

std::vector<QLabel*> ContentView::addressLabels() const {
    std::vector<QLabel*> labels;
    for (int i = 0; i < m_addressLayout->count(); ++i) {
        if (auto* label = qobject_cast<QLabel*>(m_addressLayout->itemAt(i)->widget())) {
            labels.push_back(label);
        }
    }
    return labels;
}

void ContentView::render() {
    renderHeader();
    renderChecks();
    m_pairingSection->setWording(m_model.systemActions().wording());
    m_pairingSection->render(m_model.pairing().state(), m_model.pairing().announced(), m_model.remoteLogin());
    m_pairingSection->renderKeyCheck(m_model.keyCheck());
    m_pairingSection->renderLoginProof(m_model.loginProof());
    m_pairedPhones->render(m_model.pairedPhones(), m_model.phoneActivity(), m_model.host().clock());
    m_refreshButton->setText(tr("Actualizar"));
    m_logButton->setText(tr("Registro"));
    m_quitButton->setText(tr("Salir"));
    fitHeight();
}

void ContentView::renderHeader() {
    m_title->setText(tr("nuvexa Companion"));
    PanelAccessibility::setName(*this, m_title->text());
    //: computer name and user
    m_computerLine->setText(Translations::fill(
        tr("%@ · usuario %@"), {fromStd(m_model.host().computerName()), fromStd(m_model.host().userName())}));

    // The lines are identified by the address itself, so they are rebuilt only when the list changes.
    const auto& addresses = m_model.addresses();
    const auto labels = addressLabels();
    bool same = labels.size() == addresses.size();
    for (std::size_t i = 0; same && i < labels.size(); ++i) {
        same = labels[i]->text() == fromStd(addresses[i]);
    }
    if (!same) {
        for (QLabel* label : labels) {
            m_addressLayout->removeWidget(label);
            delete label;
        }
        for (const auto& address : addresses) {
            auto* label = new QLabel(fromStd(address), m_addresses);
            label->setObjectName(QStringLiteral("address"));
            label->setTextFormat(Qt::PlainText);
            label->setFont(PanelStyle::monospacedCaptionFont());
            label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
            label->setCursor(Qt::IBeamCursor);
            PanelStyle::setTone(*label, Tone::secondary);
            m_addressLayout->addWidget(label);
            // A layout shows a new child of a visible parent only later; the panel is drawn now.
            label->show();
        }
    }
    m_addresses->setVisible(!addresses.empty());

    m_homeOnlyNote->setText(Companion::PlatformWords::homeOnlyNote(m_model.systemActions().wording()));
    m_homeOnlyNote->setVisible(!m_model.hasMeshAddress());
}

void ContentView::renderChecks() {
    const auto checks = m_model.checks();
    std::vector<Companion::ReadinessCheck::Item> items;
    for (const auto& check : checks) {
        items.push_back(check.item);
    }
    if (items != m_checkItems) {
        for (CheckRow* row : m_checkRows) {
            m_checkRowsLayout->removeWidget(row);
            delete row;
        }
        m_checkRows.clear();
        for (const auto item : items) {
            auto* row = new CheckRow(m_checkRowsLayout->parentWidget());
            row->setObjectName(QString::fromLatin1(Companion::ReadinessCheck::key(item)) +
                               QStringLiteral("Row"));
            m_checkRowsLayout->addWidget(row);
            // A layout shows a new child of a visible parent only later; the panel is drawn now.
            row->show();
            m_checkRows.push_back(row);
        }
        m_checkItems = std::move(items);
    }
    for (std::size_t i = 0; i < checks.size(); ++i) {
        const auto& check = checks[i];
        QStringList findings;
        for (const auto& finding : check.findings) {
            findings << finding.text << finding.remedy;
        }
        findings.removeAll(QString());
        m_checkRows[i]->setContent({check.ok, check.title, check.detail, check.actionTitle,
                                    [this, action = check.action] { m_model.perform(action); }, check.busy,
                                    findings.join(QStringLiteral("\n"))});
    }

    m_keepAwakeSwitch->setText(Companion::PlatformWords::keepAwakeTitle(m_model.systemActions().wording()));
    {
        const QSignalBlocker blocker(m_keepAwakeSwitch);
        m_keepAwakeSwitch->setChecked(m_model.keepAwake().enabled());
    }
    m_connectedKeepAwakeSwitch->setText(tr("Mantener despierto mientras un teléfono esté conectado"));
    {
        const QSignalBlocker blocker(m_connectedKeepAwakeSwitch);
        m_connectedKeepAwakeSwitch->setChecked(m_model.connectedKeepAwake().enabled());
    }

    // A fresh lookup rather than the model's last refresh, so an installation made since shows at once.
    const auto& notifier = m_model.tmuxNotifier();
    m_watchRow->render({m_model.host().locate("tmux").has_value(), notifier.enabled(), notifier.running(),
                        notifier.lastFinished(), notifier.notificationsRefused(),
                        notifier.notificationsUnavailable()});

    const auto& error = m_model.lastError();
    m_lastError->setText(error ? fromStd(*error) : QString());
    m_lastError->setVisible(error.has_value());
}

void ContentView::fitHeight() {
    // The nested rows cache their heights until the event loop settles them; a row whose lines were
    // just shown or hidden is measured afresh.
    for (QWidget* child : findChildren<QWidget*>()) {
        if (QLayout* inner = child->layout()) {
            inner->invalidate();
            child->updateGeometry();
        }
    }
    QLayout* sections = m_content->layout();
    sections->invalidate();
    sections->activate();
    // Wrapped notes make the height depend on the fixed width.
    const int contentWidth = width() - 2 * edgeWidth;
    const int height = (sections->hasHeightForWidth() ? sections->totalHeightForWidth(contentWidth)
                                                      : sections->totalSizeHint().height()) +
                       2 * edgeWidth;
    m_contentHeight = height;
    const bool scrolls = m_maximumHeight.has_value() && height > *m_maximumHeight;
    m_scrollArea->setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    setFixedHeight(scrolls ? *m_maximumHeight : height);
}

void ContentView::setMaximumPanelHeight(std::optional<int> height) {
    if (height == m_maximumHeight) {
        return;
    }
    m_maximumHeight = height;
    fitHeight();
}

void ContentView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The checks are current whenever the user looks.
    m_model.refresh();
    render();
    if (isWindow()) {
        announceOpening();
    }
}

std::optional<Companion::RevokeScope>
ContentView::keptOpenWhileAsking(const std::function<std::optional<Companion::RevokeScope>()>& ask) {
    // Qt closes every popup when a modal dialog appears: for as long as the question is asked, the
    // panel stays where it is as a plain frameless window, and drops as a popup again afterwards.
    const bool popup = windowType() == Qt::Popup && isVisible();
    const QPoint position = pos();
    if (popup) {
        setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
        move(position);
        show();
    }
    const auto answer = ask();
    if (popup) {
        setWindowFlags(Qt::Popup);
        move(position);
        show();
    }
    return answer;
}

void ContentView::announceOpening() {
    // A popup opens without the window system's activation: the panel takes the keyboard focus itself
    // (Tab then leads to its first control), and says it is the active window, so a screen reader
    // announces it by name.
    if (focusWidget() == nullptr || !focusWidget()->isVisible()) {
        setFocus(Qt::PopupFocusReason);
    }
    QAccessible::State activated;
    activated.active = true;
    QAccessibleStateChangeEvent event(this, activated);
    QAccessible::updateAccessibility(&event);
}

void ContentView::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
    // A panel dropped from the tray floats over whatever is behind it: a thin edge sets it apart.
    if (windowType() == Qt::Popup) {
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void ContentView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    const QEvent::Type type = event->type();
    if (type == QEvent::PaletteChange || type == QEvent::ApplicationPaletteChange) {
        // Light and dark themes have their own signal colours.
        PanelStyle::retone(*this);
        render();
    } else if (type == QEvent::LanguageChange) {
        render();
    }
}

} // namespace CompanionApp
