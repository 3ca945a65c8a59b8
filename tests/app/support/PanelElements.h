#pragma once

#include <QImage>
#include <QString>

#include <ostream>
#include <string>
#include <vector>

class QWidget;

/// Readable Qt texts in test failures.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace AppTestSupport {

/// What the user sees of `root`, element by element in layout order (top to bottom, then leading to
/// trailing), skipping everything hidden. Texts are given as they are; the other elements as marks:
///   (✓) (✗) (radio) (hourglass) (seal)  a status symbol, with " grey" / " green" after it
///   [busy]                              the progress indicator
///   ⟨Label⟩ ⟨Label⟩ disabled            a button
///   ☐ Label / ☑ Label, + " disabled"    a switch
/// A label's text is followed by " {green}", " {red}", " {orange}" or " {grey}" when it carries that
/// tone.
std::vector<std::string> visibleElements(QWidget& root);

/// Saves a picture of `widget` as "<test suite>.<test name>.png" in the run's artifact folder (made
/// when missing) and prints its path. Answers the path.
std::string saveArtifact(QWidget& widget, const std::string& suffix = {});
/// As `saveArtifact`, drawn at `ratio` pixels a point (".2x" and so on after the name). Answers the
/// picture.
QImage saveScaledArtifact(QWidget& widget, qreal ratio);

/// Top edge of `widget` in `root`'s coordinates.
int topIn(QWidget& widget, QWidget& root);

} // namespace AppTestSupport
