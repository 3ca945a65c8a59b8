#pragma once

#include <QString>
#include <QWidget>

namespace CompanionApp {

/// A row's detail, which never widens its row. A single word (a path, an address) stays on one line,
/// and when it does not fit its middle gives way to an ellipsis, so both the start and the end of a
/// long path stay visible. A sentence wraps instead: cutting it would cut its meaning.
class ElidedLabel : public QWidget {
    Q_OBJECT

public:
    /// What becomes of a text too long for the width.
    enum class Overflow {
        /// A single word loses its middle, a sentence wraps.
        detail,
        /// Always one line, whose end gives way to an ellipsis: a name.
        name,
    };

    explicit ElidedLabel(QWidget* parent = nullptr);
    ElidedLabel(Overflow overflow, QWidget* parent);

    /// The full text, as given.
    const QString& text() const { return m_text; }
    void setText(const QString& text);

    /// What the label shows at its current width (wrapped lines are not marked).
    QString displayedText() const;
    /// True when the text is a sentence, which wraps rather than losing its middle.
    bool wraps() const;

    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Overflow m_overflow = Overflow::detail;
    QString m_text;
};

} // namespace CompanionApp
