#pragma once

#include "Companion/LoginRecords.h"
#include "Companion/PhoneActivity.h"

#include <QString>
#include <QStringList>

#include <chrono>

/// The words for what a paired phone has done, shared by the panel and the terminal: when it last
/// logged in and from where, and whether it is connected now. The texts are the Spanish keys of the
/// "ActivityText" translation context.
namespace Companion::ActivityText {

/// "hace un momento", "hace 5 min", "hace 2 h", "hace 3 días", or the date for anything older than
/// two months; a time ahead of `now` (a clock set back) reads as "hace un momento".
QString ago(std::chrono::system_clock::time_point time, std::chrono::system_clock::time_point now);

/// The time in the local zone, in full, for a tooltip or a listing.
QString exactTime(std::chrono::system_clock::time_point time);

/// "último acceso hace 2 h desde 100.64.0.7".
QString lastLogin(const LoginAttempt& login, std::chrono::system_clock::time_point now);

/// "rechazado en su último intento, hace 5 min desde 192.168.1.23".
QString refused(const LoginAttempt& attempt, std::chrono::system_clock::time_point now);

/// "no ha iniciado sesión desde que se emparejó".
QString neverLoggedIn();

/// "conectado ahora (SSH)".
QString connectedNow();

/// "sesión mosh abierta", or "3 sesiones mosh abiertas".
QString moshSessions(int count);

/// The pieces that apply to `activity`, in the order people read them: connected now, the mosh
/// sessions, then the last login (or that there was none) and a refusal newer than it. Without
/// `recordsReadable` nothing is said of logins, which could not be looked up.
QStringList pieces(const PhoneActivity& activity, bool recordsReadable,
                   std::chrono::system_clock::time_point now);

/// "Esperando a que el teléfono inicie sesión…".
QString waitingForLogin();

/// "Ha iniciado sesión desde 192.168.1.23".
QString loggedInFrom(const LoginAttempt& login);

} // namespace Companion::ActivityText
