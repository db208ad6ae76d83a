#pragma once

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QString>

#include <optional>

class CommandLine;
class Invocation;

// velmo disc: the audio CDs in the drives and disc images, their tables of contents, and rips.
void addDiscCommands(CommandLine& commandLine);

// The option that names a file of full-TOC bytes instead of a disc.
extern const QString rawTOCOption;

// The TOC bytes named by the command: a source (drive or image) or a --raw-toc file. Read off
// the main thread, as a drive may take a while. None after a usage error.
QCoro::Task<std::optional<QByteArray>> discTOCBytes(Invocation& invocation, QString usage);
