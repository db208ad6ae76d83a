#pragma once

class CommandLine;

// velmo accuraterip (the disc's id, a file's checksums, a dBAR answer) and the disc commands
// that ask the AccurateRip database: disc verify and disc find-offset.
void addAccurateRipCommands(CommandLine& commandLine);
