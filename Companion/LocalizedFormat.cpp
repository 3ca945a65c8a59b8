#include "Companion/LocalizedFormat.h"

namespace Companion::LocalizedFormat {

QString fill(const QString& format, const QStringList& arguments) {
    QString text;
    text.reserve(format.size());
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const bool placeholder = format[i] == u'%' && i + 1 < format.size() &&
                                 (format[i + 1] == u'@' || format[i + 1] == u'd') && next < arguments.size();
        if (placeholder) {
            text += arguments[next++];
            ++i;
        } else {
            text += format[i];
        }
    }
    return text;
}

} // namespace Companion::LocalizedFormat
