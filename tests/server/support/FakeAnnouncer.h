#pragma once

#include "CompanionCore/server/Announcer.h"

#include <memory>
#include <vector>

namespace TestSupport {

/// Records what the server asks to announce and lets the test play the daemon's answers.
class FakeAnnouncer final : public CompanionCore::Announcer {
public:
    /// What the test sees of every announcer the server made, alive or not.
    struct Record {
        Service service;
        Observer observer;
        bool announced = false;
        bool destroyed = false;
    };

    explicit FakeAnnouncer(std::shared_ptr<Record> record)
        : m_record(std::move(record)) {}
    ~FakeAnnouncer() override { m_record->destroyed = true; }

    void announce(Service service, Observer observer) override {
        m_record->service = std::move(service);
        m_record->observer = std::move(observer);
        m_record->announced = true;
    }

    /// A factory that keeps a record of every announcer it makes, in `records`.
    static CompanionCore::AnnouncerFactory
    factory(std::shared_ptr<std::vector<std::shared_ptr<Record>>> records) {
        return [records] {
            auto record = std::make_shared<Record>();
            records->push_back(record);
            return std::make_unique<FakeAnnouncer>(record);
        };
    }

private:
    std::shared_ptr<Record> m_record;
};

} // namespace TestSupport
