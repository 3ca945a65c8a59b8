#include "CompanionCore/server/DnsSdAnnouncer.h"

#include <QAbstractEventDispatcher>
#include <QMetaObject>
#include <QSocketNotifier>
#include <QTimer>

#include <arpa/inet.h>
#include <cstdlib>
#include <dns_sd.h>
#include <mutex>

namespace CompanionCore {

namespace {

// Not in every dns_sd.h (Avahi's lacks it); macOS answers it when mDNSResponder is not running.
constexpr std::int32_t serviceNotRunning = -65563;
constexpr std::size_t maxTxtEntryBytes = 255;

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string withFinalDot(std::string text) {
    if (text.empty() || text.back() != '.') {
        text += '.';
    }
    return text;
}

} // namespace

struct DnsSdAnnouncer::Registration {
    DNSServiceRef ref = nullptr;
    std::unique_ptr<QSocketNotifier> notifier;

    ~Registration() {
        // The notifier watches the reference's socket: it goes first.
        notifier.reset();
        if (ref != nullptr) {
            DNSServiceRefDeallocate(ref);
        }
    }
};

/// The register callback. It runs inside DNSServiceProcessResult, where the reference must not be
/// released: it only records the reply and posts its handling.
struct DnsSdReply {
    static void DNSSD_API registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error,
                                     const char* name, const char* type, const char* domain, void* context) {
        auto* self = static_cast<DnsSdAnnouncer*>(context);
        std::string full;
        if (error == kDNSServiceErr_NoError) {
            full = DnsSdAnnouncer::fullName(name != nullptr ? name : self->m_name,
                                            type != nullptr ? type : self->m_service.type,
                                            domain != nullptr ? domain : "");
        }
        self->post([self, error, full] { self->handleReply(error, full); });
    }
};

DnsSdAnnouncer::DnsSdAnnouncer(std::chrono::milliseconds retryInterval)
    : m_retryInterval(retryInterval) {}

DnsSdAnnouncer::~DnsSdAnnouncer() = default;

void DnsSdAnnouncer::prepareLibrary() {
    // Avahi's compatibility layer prints a warning on first use unless this is set; set it before
    // the first call into the library, and leave a value the user chose alone.
    static std::once_flag once;
    std::call_once(once, [] { ::setenv("AVAHI_COMPAT_NOWARN", "1", 0); });
}

void DnsSdAnnouncer::announce(Service service, Observer observer) {
    prepareLibrary();
    m_service = std::move(service);
    m_observer = std::make_shared<Observer>(std::move(observer));
    m_name = instanceName(m_service.name);
    if (m_name != m_service.name) {
        notify([note = "Bonjour name \"" + m_service.name + "\" is longer than " +
                       std::to_string(maxInstanceNameBytes) + " bytes; announcing it as \"" + m_name +
                       "\""](const Observer& o) { o.note(note); });
    }
    registerService();
}

void DnsSdAnnouncer::registerService() {
    TXTRecordRef txt;
    TXTRecordCreate(&txt, 0, nullptr);
    for (const auto& [key, value] : m_service.txt) {
        // One entry is a length byte and at most 255 bytes of key=value.
        const DNSServiceErrorType error =
            key.size() + 1 + value.size() > maxTxtEntryBytes
                ? kDNSServiceErr_Invalid
                : TXTRecordSetValue(&txt, key.c_str(), static_cast<std::uint8_t>(value.size()), value.data());
        if (error != kDNSServiceErr_NoError) {
            notify([note = "TXT entry " + key + " left out: " + describeError(error)](const Observer& o) {
                o.note(note);
            });
        }
    }
    DNSServiceRef ref = nullptr;
    const DNSServiceErrorType error = DNSServiceRegister(
        &ref, 0, 0, m_name.c_str(), m_service.type.c_str(), nullptr, nullptr, htons(m_service.port),
        TXTRecordGetLength(&txt), TXTRecordGetBytesPtr(&txt), DnsSdReply::registered, this);
    TXTRecordDeallocate(&txt);
    if (error != kDNSServiceErr_NoError) {
        // Avahi refuses a name its daemon already holds right here, without a reply.
        post([this, error] { handleReply(error, {}); });
        return;
    }
    m_registration = std::make_unique<Registration>();
    m_registration->ref = ref;
    const int socket = DNSServiceRefSockFD(ref);
    if (socket < 0) {
        // Without its socket no reply can ever arrive: as good as no daemon.
        post([this] { handleReply(kDNSServiceErr_Unknown, {}); });
        return;
    }
    m_registration->notifier = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Read);
    QObject::connect(m_registration->notifier.get(), &QSocketNotifier::activated,
                     m_registration->notifier.get(), [this] { processResult(); });
}

void DnsSdAnnouncer::processResult() {
    const DNSServiceErrorType error = DNSServiceProcessResult(m_registration->ref);
    if (error != kDNSServiceErr_NoError) {
        // The connection to the daemon broke; stop watching it and let the reply path clean up.
        m_registration->notifier->setEnabled(false);
        post([this, error] { handleReply(error, {}); });
    }
}

void DnsSdAnnouncer::handleReply(std::int32_t error, const std::string& full) {
    if (error == kDNSServiceErr_NoError) {
        m_registeredAs = full;
        m_reportedError.reset();
        notify([full](const Observer& o) { o.registered(full); });
        return;
    }
    const std::optional<std::string> was = std::exchange(m_registeredAs, std::nullopt);
    release();
    if (was) {
        notify([name = *was](const Observer& o) { o.removed(name); });
    }
    if (error == kDNSServiceErr_NameConflict && m_renames < maxRenames) {
        ++m_renames;
        const std::string taken = m_name;
        m_name = instanceName(m_service.name, " (" + std::to_string(m_renames + 1) + ")");
        notify([note = "Bonjour name \"" + taken + "\" is taken; trying \"" + m_name +
                       "\""](const Observer& o) { o.note(note); });
        registerService();
        return;
    }
    if (was || m_reportedError != error) {
        m_reportedError = error;
        notify([note = std::string(was ? "Bonjour announcement lost: " : "not announced on Bonjour: ") +
                       describeError(error)](const Observer& o) { o.note(note); });
    }
    if (error == kDNSServiceErr_NameConflict) {
        // Every alternative name is taken: trying the same ones again would fail the same way.
        return;
    }
    retryLater();
}

void DnsSdAnnouncer::retryLater() {
    // The daemon says nothing when it starts; asking again is the only way to find out.
    QTimer::singleShot(m_retryInterval, QAbstractEventDispatcher::instance(),
                       [this, alive = std::weak_ptr<int>(m_alive)] {
                           if (!alive.expired() && !m_registration) {
                               registerService();
                           }
                       });
}

void DnsSdAnnouncer::release() {
    m_registration.reset();
}

void DnsSdAnnouncer::post(std::function<void()> work) {
    // The thread's dispatcher outlives this object; the token tells whether this object still does.
    QMetaObject::invokeMethod(
        QAbstractEventDispatcher::instance(),
        [alive = std::weak_ptr<int>(m_alive), work = std::move(work)] {
            if (!alive.expired()) {
                work();
            }
        },
        Qt::QueuedConnection);
}

void DnsSdAnnouncer::notify(std::function<void(const Observer&)> call) {
    // The observer may destroy this announcer while it is being told something: it is called last,
    // through a reference of its own.
    post([this, call = std::move(call)] {
        const std::shared_ptr<Observer> observer = m_observer;
        call(*observer);
    });
}

std::string DnsSdAnnouncer::describeError(std::int32_t error) {
    std::string meaning;
    switch (error) {
    case kDNSServiceErr_Unknown:
        meaning = "unknown error; usually no mDNS daemon (avahi-daemon or mDNSResponder) can be reached";
        break;
    case serviceNotRunning:
        meaning = "the mDNS daemon is not running";
        break;
    case kDNSServiceErr_NameConflict:
        meaning = "name conflict";
        break;
    case kDNSServiceErr_NoMemory:
        meaning = "out of memory";
        break;
    case kDNSServiceErr_BadParam:
        meaning = "bad parameter";
        break;
    case kDNSServiceErr_Invalid:
        meaning = "invalid value";
        break;
    case kDNSServiceErr_BadState:
        meaning = "bad state";
        break;
    case kDNSServiceErr_Refused:
        meaning = "refused";
        break;
    case kDNSServiceErr_NoAuth:
        meaning = "not authorized";
        break;
    case kDNSServiceErr_Unsupported:
        meaning = "not supported";
        break;
    default:
        meaning = "see dns_sd.h";
        break;
    }
    return "DNS-SD error " + std::to_string(error) + " (" + meaning + ")";
}

std::string DnsSdAnnouncer::instanceName(const std::string& name, const std::string& suffix) {
    const std::size_t room = maxInstanceNameBytes > suffix.size() ? maxInstanceNameBytes - suffix.size() : 0;
    if (name.size() <= room) {
        return name + suffix;
    }
    std::size_t length = room;
    while (length > 0 && isContinuationByte(name[length])) {
        --length;
    }
    return name.substr(0, length) + suffix;
}

std::string DnsSdAnnouncer::fullName(const std::string& name, const std::string& type,
                                     const std::string& domain) {
    return name + "." + withFinalDot(type) + withFinalDot(domain.empty() ? "local" : domain);
}

std::unique_ptr<Announcer> makeDnsSdAnnouncer() {
    return std::make_unique<DnsSdAnnouncer>();
}

} // namespace CompanionCore
