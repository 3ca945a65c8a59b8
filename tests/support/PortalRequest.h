#pragma once

#include <QObject>

namespace TestSupport {

/// The request object a portal hands out for an inhibition, played by a test: counts its Close calls.
class PortalRequest : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Request")

public:
    int closes = 0;

public slots:
    void Close() {
        ++closes;
        emit closed();
    }

signals:
    void closed();
};

} // namespace TestSupport
