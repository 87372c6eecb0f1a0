// DecimateFlow: "plastra-sim decimate", a host script's decimation request run through the plug-in.
#pragma once

#include <cstdio>
#include <string>

#include "HostJob.h"

class PluginModule;

struct DecimateOptions {
    std::string input;       // an OBJ file; empty for the built-in sample
    std::string output;      // the OBJ to write; empty for INPUT_decimated.obj (sample_decimated.obj)
    std::string tempParent;  // where the job's own temporary folder is made; empty for $TMPDIR or /tmp
    bool progressive = false;
    bool percentGiven = false;
    bool verticesGiven = false;
    bool colorCoefGiven = false;
    bool threadsGiven = false;
    DecimateSettings settings;
};

// Exit statuses of the command.
enum DecimateStatus { kDecimateDone = 0, kDecimateFailed = 1, kDecimateUsage = 2, kDecimateCancelled = 130 };

// The arguments after "decimate". False with a message for anything it cannot take.
bool parseDecimateArguments(int argc, char** argv, DecimateOptions& options, std::string& error);
const char* decimateUsage();

// Runs the whole request through the loaded module: start-up, mesh files, declaration with
// textures, job file, launch, progress on `out`, export, clean-up, summary. Messages on `err`.
// SIGINT (and SIGTERM) while the job runs cancel it as the host does, by deleting its running
// file; the command returns kDecimateCancelled once the application is gone.
int runDecimate(const PluginModule& plugin, const DecimateOptions& options, FILE* out, FILE* err);
