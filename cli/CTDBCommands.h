#pragma once

class CommandLine;

// velmo ctdb: the disc's name in the CUETools database, the database's rips of it, and audio
// files checked against them.
void addCTDBCommands(CommandLine& commandLine);
