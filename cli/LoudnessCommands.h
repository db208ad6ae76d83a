#pragma once

class CommandLine;

// velmo library loudness
void addLoudnessCommands(CommandLine& commandLine);
