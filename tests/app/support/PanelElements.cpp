#include "support/PanelElements.h"

#include "CompanionApp/BusyIndicator.h"
#include "CompanionApp/ElidedLabel.h"
#include "CompanionApp/PanelStyle.h"
#include "CompanionApp/StatusSymbol.h"
#include "CompanionApp/Switch.h"

#include <QAbstractButton>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QLayout>
#include <QPixmap>
#include <QScrollArea>
#include <QStringList>

#include <gtest/gtest.h>

#include <iostream>

namespace AppTestSupport {

namespace {

using CompanionApp::PanelStyle::Tone;

QString toneMark(const QWidget& widget) {
    switch (CompanionApp::PanelStyle::tone(widget)) {
    case Tone::primary:
        return {};
    case Tone::secondary:
        return QStringLiteral(" {grey}");
    case Tone::positive:
        return QStringLiteral(" {green}");
    case Tone::error:
        return QStringLiteral(" {red}");
    case Tone::warning:
        return QStringLiteral(" {orange}");
    }
    return {};
}

QString symbolMark(const CompanionApp::StatusSymbol& symbol) {
    using Symbol = CompanionApp::StatusSymbol::Symbol;
    QString mark;
    switch (symbol.symbol()) {
    case Symbol::checkmarkCircleFill:
        mark = QStringLiteral("(✓)");
        break;
    case Symbol::xmarkCircle:
        mark = QStringLiteral("(✗)");
        break;
    case Symbol::radioWaves:
        mark = QStringLiteral("(radio)");
        break;
    case Symbol::hourglass:
        mark = QStringLiteral("(hourglass)");
        break;
    case Symbol::checkmarkSealFill:
        mark = QStringLiteral("(seal)");
        break;
    }
    const QPalette& palette = symbol.palette();
    if (symbol.colour() == CompanionApp::PanelStyle::colour(Tone::positive, palette)) {
        mark += QStringLiteral(" green");
    } else if (symbol.colour() == CompanionApp::PanelStyle::colour(Tone::secondary, palette)) {
        mark += QStringLiteral(" grey");
    }
    return mark;
}

void collect(QWidget& widget, QWidget& root, QStringList& out);

void collect(QLayout& layout, QWidget& root, QStringList& out) {
    for (int i = 0; i < layout.count(); ++i) {
        QLayoutItem* item = layout.itemAt(i);
        if (QWidget* child = item->widget()) {
            collect(*child, root, out);
        } else if (QLayout* inner = item->layout()) {
            collect(*inner, root, out);
        }
    }
}

void collect(QWidget& widget, QWidget& root, QStringList& out) {
    if (&widget != &root && !widget.isVisibleTo(&root)) {
        return;
    }
    const QString disabled = widget.isEnabled() ? QString() : QStringLiteral(" disabled");
    if (auto* symbol = qobject_cast<CompanionApp::StatusSymbol*>(&widget)) {
        out << symbolMark(*symbol);
    } else if (auto* toggle = qobject_cast<CompanionApp::Switch*>(&widget)) {
        out << (toggle->isChecked() ? QStringLiteral("☑ ") : QStringLiteral("☐ ")) + toggle->text() +
                   disabled;
    } else if (auto* button = qobject_cast<QAbstractButton*>(&widget)) {
        out << QStringLiteral("⟨") + button->text() + QStringLiteral("⟩") + disabled;
    } else if (auto* label = qobject_cast<QLabel*>(&widget)) {
        out << label->text() + toneMark(*label);
    } else if (auto* elided = qobject_cast<CompanionApp::ElidedLabel*>(&widget)) {
        out << elided->text() + toneMark(*elided);
    } else if (qobject_cast<CompanionApp::BusyIndicator*>(&widget) != nullptr) {
        out << QStringLiteral("[busy]");
    }
    if (QLayout* layout = widget.layout()) {
        collect(*layout, root, out);
    }
    // What a scroll area holds is its widget, outside any layout.
    if (auto* scrolled = qobject_cast<QScrollArea*>(&widget); scrolled != nullptr && scrolled->widget()) {
        collect(*scrolled->widget(), root, out);
    }
}

} // namespace

std::vector<std::string> visibleElements(QWidget& root) {
    QStringList out;
    collect(root, root, out);
    std::vector<std::string> elements;
    for (const QString& element : out) {
        elements.push_back(element.toStdString());
    }
    return elements;
}

std::string saveArtifact(QWidget& widget, const std::string& suffix) {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const QString folder = QString::fromUtf8(NUVEXA_PANEL_ARTIFACTS);
    QDir().mkpath(folder);
    const std::string name = std::string(test->test_suite_name()) + "." + test->name() + suffix + ".png";
    const QString path = QDir(folder).filePath(QString::fromStdString(name));
    EXPECT_TRUE(widget.grab().save(path, "PNG")) << "cannot save " << path.toStdString();
    std::cout << "panel picture: " << path.toStdString() << std::endl;
    return path.toStdString();
}

QImage saveScaledArtifact(QWidget& widget, qreal ratio) {
    QImage picture(widget.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(ratio);
    picture.fill(widget.palette().color(QPalette::Window));
    widget.render(&picture);
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const QString folder = QString::fromUtf8(NUVEXA_PANEL_ARTIFACTS);
    QDir().mkpath(folder);
    const std::string name = std::string(test->test_suite_name()) + "." + test->name() + "." +
                             QString::number(ratio).toStdString() + "x.png";
    const QString path = QDir(folder).filePath(QString::fromStdString(name));
    EXPECT_TRUE(picture.save(path, "PNG")) << "cannot save " << path.toStdString();
    std::cout << "panel picture: " << path.toStdString() << std::endl;
    return picture;
}

int topIn(QWidget& widget, QWidget& root) {
    return widget.mapTo(&root, QPoint(0, 0)).y();
}

} // namespace AppTestSupport
