#include "CompanionApp/Switch.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

TEST(SwitchTest, SpaceReturnAndEnterEachFlipItOnce) {
    CompanionApp::Switch control(QStringLiteral("Mantener despierto"));
    control.show();
    control.setFocus();
    QSignalSpy toggled(&control, &CompanionApp::Switch::toggled);
    QTest::keyClick(&control, Qt::Key_Space);
    EXPECT_TRUE(control.isChecked());
    QTest::keyClick(&control, Qt::Key_Return);
    EXPECT_FALSE(control.isChecked());
    QTest::keyClick(&control, Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_TRUE(control.isChecked());
    EXPECT_EQ(toggled.count(), 3);
}

TEST(SwitchTest, ADisabledSwitchIgnoresReturn) {
    CompanionApp::Switch control(QStringLiteral("Avisar"));
    control.setEnabled(false);
    control.show();
    QTest::keyClick(&control, Qt::Key_Return);
    EXPECT_FALSE(control.isChecked());
}
