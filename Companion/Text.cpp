#include "Companion/Text.h"

#include <QString>

namespace Companion::Text {

std::string trimmed(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).trimmed().toStdString();
}

std::string joined(const std::vector<std::string>& pieces, std::string_view separator) {
    std::string text;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) {
            text += separator;
        }
        text += pieces[i];
    }
    return text;
}

} // namespace Companion::Text
