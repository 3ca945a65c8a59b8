#include "CompanionApp/RevokeConfirmation.h"

#include "CompanionApp/Translations.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

#include <memory>

namespace CompanionApp::RevokeConfirmation {

namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(CompanionApp::RevokeConfirmation)
};

constexpr const char* scopeProperty = "nuvexaRevokeScope";

} // namespace

QMessageBox* build(QWidget* parent, const QString& phone, const QStringList& otherLines) {
    const QString text =
        otherLines.isEmpty()
            ? Translations::fill(Texts::tr("¿Revocar «%@»? Ya no podrá iniciar sesión en "
                                           "este ordenador."),
                                 {phone})
            : Translations::fill(Texts::tr("¿Revocar «%@»? Su llave también está en otras líneas "
                                           "del archivo:\n%@\nSi no las quitas, podrá seguir "
                                           "iniciando sesión en este ordenador."),
                                 {phone, otherLines.join(u'\n')});
    auto* question =
        new QMessageBox(QMessageBox::Warning,
                        Translations::fill(Texts::tr("¿Quitar el acceso de «%@» a este ordenador?"), {phone}),
                        text, QMessageBox::NoButton, parent);
    // Names and lines come from the key file: shown as they are, never as markup.
    question->setTextFormat(Qt::PlainText);
    question->setInformativeText(
        Texts::tr("Su llave se quitará de ~/.ssh/authorized_keys. Para volver a conectar desde ese "
                  "teléfono habrá que emparejarlo de nuevo."));
    if (otherLines.isEmpty()) {
        question->addButton(Texts::tr("Revocar"), QMessageBox::DestructiveRole)
            ->setProperty(scopeProperty, static_cast<int>(Companion::RevokeScope::phoneLines));
    } else {
        question->addButton(Texts::tr("Revocar y quitarlas"), QMessageBox::DestructiveRole)
            ->setProperty(scopeProperty, static_cast<int>(Companion::RevokeScope::everyLine));
        question->addButton(Texts::tr("Solo su línea"), QMessageBox::ActionRole)
            ->setProperty(scopeProperty, static_cast<int>(Companion::RevokeScope::phoneLines));
    }
    // One stray Return must never take a phone's access away.
    QPushButton* cancel = question->addButton(Texts::tr("Cancelar"), QMessageBox::RejectRole);
    question->setDefaultButton(cancel);
    question->setEscapeButton(cancel);
    return question;
}

std::optional<Companion::RevokeScope> ask(QWidget* parent, const QString& phone,
                                          const QStringList& otherLines) {
    const std::unique_ptr<QMessageBox> question(build(parent, phone, otherLines));
    question->exec();
    const QAbstractButton* clicked = question->clickedButton();
    if (clicked == nullptr || !clicked->property(scopeProperty).isValid()) {
        return std::nullopt;
    }
    return static_cast<Companion::RevokeScope>(clicked->property(scopeProperty).toInt());
}

} // namespace CompanionApp::RevokeConfirmation
