#pragma once

class CommandLine;

// velmo tags read
void addTagCommands(CommandLine& commandLine);
