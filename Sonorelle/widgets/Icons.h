#pragma once

#include <QIcon>
#include <QString>

// The program's symbols ("music.note", "mic", ...) as icons of the freedesktop theme, each
// with fallbacks for themes that lack a name and, last, one of the style's own icons.
namespace Icons {

QIcon symbol(const QString& name);

// Chooses a complete theme when the desktop named none, so that a bare session still
// shows icons.
void chooseTheme();

} // namespace Icons
