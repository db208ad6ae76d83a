#pragma once

class CommandLine;

// velmo device cache stats | clear
void addTranscodeCacheCommands(CommandLine& commandLine);
