#pragma once

#include "Companion/RevokeScope.h"

#include <QString>
#include <QStringList>

#include <optional>

class QMessageBox;
class QWidget;

/// The question asked before a paired phone's key leaves the key file.
namespace CompanionApp::RevokeConfirmation {

/// The dialog for the phone so named, over `parent` (the panel, which stays open under it), with the
/// other lines that hold its key (none in the usual case). Cancelling is the default: Return and
/// Escape keep the key.
QMessageBox* build(QWidget* parent, const QString& phone, const QStringList& otherLines);

/// Asks with `build`'s dialog; answers how much to remove, or nothing to cancel.
std::optional<Companion::RevokeScope> ask(QWidget* parent, const QString& phone,
                                          const QStringList& otherLines);

} // namespace CompanionApp::RevokeConfirmation
