#pragma once

#include <QColor>
#include <QWidget>

class QPainter;

namespace CompanionApp {

/// A small drawn symbol that says how something stands: checked, crossed, announced, waiting or
/// paired. Drawn with the painter rather than taken from an icon theme, so it looks the same on every
/// desktop and is sharp at any scale.
class StatusSymbol : public QWidget {
    Q_OBJECT

public:
    enum class Symbol {
        /// A filled circle with a check mark cut out: a check that passed.
        checkmarkCircleFill,
        /// An outlined circle with a cross: a check that did not pass.
        xmarkCircle,
        /// A dot between radio waves: visible on the local network.
        radioWaves,
        /// An hourglass: waiting for something.
        hourglass,
        /// A filled seal with a check mark cut out: a completed pairing.
        checkmarkSealFill,
    };

    explicit StatusSymbol(Symbol symbol, QColor colour, QWidget* parent = nullptr);

    Symbol symbol() const { return m_symbol; }
    const QColor& colour() const { return m_colour; }
    void setSymbol(Symbol symbol, QColor colour);

    QSize sizeHint() const override;

    /// What `symbol` says, for a screen reader.
    static QString spokenName(Symbol symbol);

    /// Draws `symbol` in `colour` inside `bounds`.
    static void paint(QPainter& painter, const QRectF& bounds, Symbol symbol, const QColor& colour);

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    Symbol m_symbol;
    QColor m_colour;
};

} // namespace CompanionApp
