#include "CompanionCore/server/NullAnnouncer.h"

#include "server/support/EventLoop.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

namespace {

using CompanionCore::Announcer;
using CompanionCore::NullAnnouncer;

TEST(NullAnnouncerTest, SaysLaterThatNothingIsAnnounced) {
    std::vector<std::string> notes;
    bool registered = false;
    auto announcer = CompanionCore::makeNullAnnouncer();
    Announcer::Observer observer;
    observer.registered = [&](const std::string&) { registered = true; };
    observer.removed = [&](const std::string&) { registered = false; };
    observer.note = [&](const std::string& note) { notes.push_back(note); };
    announcer->announce({"Studio", "_nuvexa._tcp", 52901, {}}, observer);
    EXPECT_TRUE(notes.empty()) << "nothing is reported from inside announce";
    EXPECT_TRUE(TestSupport::spinUntil([&] { return !notes.empty(); }));
    EXPECT_EQ(notes, std::vector<std::string>{NullAnnouncer::message});
    EXPECT_FALSE(registered);
}

TEST(NullAnnouncerTest, ReportsNothingOnceDestroyed) {
    std::vector<std::string> notes;
    auto announcer = CompanionCore::makeNullAnnouncer();
    Announcer::Observer observer;
    observer.note = [&](const std::string& note) { notes.push_back(note); };
    announcer->announce({"Studio", "_nuvexa._tcp", 52901, {}}, observer);
    announcer.reset();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_TRUE(notes.empty());
}

} // namespace
