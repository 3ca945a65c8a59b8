#include "cli/DoctorCommand.h"

#include <QJsonArray>

#include <gtest/gtest.h>

namespace {

const std::vector<Companion::Finding> wayIn{
    {"loginLocaleNotUtf8", false, QStringLiteral("Una sesión SSH arranca con el idioma C."),
     QStringLiteral("Pon un idioma UTF-8 por defecto.")},
    {"moshServerDoesNotStart", true,
     QStringLiteral(
         "mosh-server no arranca en una sesión SSH: «mosh-server needs a UTF-8 native locale to run.»"),
     QStringLiteral("Pon un idioma UTF-8 por defecto.")},
};

TEST(DoctorWayInTest, TheTextNamesEachFindingAndItsRemedyUnderItsHeading) {
    EXPECT_EQ(
        Cli::wayInText(wayIn).toStdString(),
        "Otros caminos de entrada (mosh):\n"
        "  Una sesión SSH arranca con el idioma C.\n"
        "  Pon un idioma UTF-8 por defecto.\n"
        "  mosh-server no arranca en una sesión SSH: «mosh-server needs a UTF-8 native locale to run.»\n"
        "  Pon un idioma UTF-8 por defecto.\n");
}

TEST(DoctorWayInTest, WithNothingFoundThereIsNoHeading) {
    EXPECT_TRUE(Cli::wayInText({}).isEmpty());
}

TEST(DoctorWayInTest, TheJsonCarriesTheFindingsUnderWayIn) {
    const auto json = Cli::doctorJson({}, Companion::Wording::linuxSystem, wayIn);
    const auto found = json.value(QStringLiteral("wayIn")).toArray();
    ASSERT_EQ(found.size(), 2);
    const auto second = found.at(1).toObject();
    EXPECT_EQ(second.value(QStringLiteral("cause")).toString(), QStringLiteral("moshServerDoesNotStart"));
    EXPECT_EQ(second.value(QStringLiteral("keepsPhoneOut")).toBool(), true);
    EXPECT_EQ(second.value(QStringLiteral("text")).toString(), wayIn[1].text);
    EXPECT_EQ(second.value(QStringLiteral("remedy")).toString(), wayIn[1].remedy);
    EXPECT_EQ(found.at(0).toObject().value(QStringLiteral("keepsPhoneOut")).toBool(true), false);
}

TEST(DoctorWayInTest, WithNothingFoundWayInIsAnEmptyArray) {
    const auto json = Cli::doctorJson({}, Companion::Wording::linuxSystem);
    ASSERT_TRUE(json.value(QStringLiteral("wayIn")).isArray());
    EXPECT_TRUE(json.value(QStringLiteral("wayIn")).toArray().isEmpty());
}

} // namespace
