#pragma once

class CommandLine;

// velmo artwork fetch-missing | velmo album refetch
void addMetadataCommands(CommandLine& commandLine);
