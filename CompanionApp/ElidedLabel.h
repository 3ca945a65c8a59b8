#pragma once

#include <QString>
#include <QWidget>

namespace CompanionApp {

/// One line of text that never wraps and never widens its row: when the text does not fit, its
/// middle gives way to an ellipsis, so both the start and the end of a long path stay visible.
class ElidedLabel : public QWidget {
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    /// The full text, as given.
    const QString& text() const { return m_text; }
    void setText(const QString& text);

    /// What the label shows at its current width.
    QString displayedText() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_text;
};

} // namespace CompanionApp
