#pragma once

class CommandLine;

// velmo disc: the audio CDs in the drives and disc images, their tables of contents, and rips.
void addDiscCommands(CommandLine& commandLine);
