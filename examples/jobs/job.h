#pragma once

// What the twelve jobs share. A job is one function; job.cpp logs on, calls it and tells what went wrong.

#include <filesystem>
#include <iostream>
#include <span>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"

using namespace velmore;
namespace fs = std::filesystem;

/// How the job is called: "archive YEAR". Words in brackets may be left out.
extern const char* const kUsage;
/// The job itself, with the mailbox of whoever logged on and what stood behind the program's name.
void Job(IVqEWSMsgStore& store, std::span<char*> arguments);

/// Logs on with EWS_URL, EWS_USER and EWS_PASSWORD; EWS_CA_FILE where the machine does not know the authority.
void LogOn(TVqEWSServiceSession& session);
/// Tells what the server refused, and gives the number of the others; raises what is no refusal.
int Told(const std::vector<TVqEWSFileResult>& results);
