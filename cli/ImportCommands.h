#pragma once

class CommandLine;

// velmo import
void addImportCommands(CommandLine& commandLine);
