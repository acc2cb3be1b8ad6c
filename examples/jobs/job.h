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
/// The folder of that name below another; made when it is not there.
TVqRef<IVqEWSFolder> FolderBelow(IVqEWSFolder& parent, const string& name);
/// Writes an item as a file whose name is the same at every run, and no other item's. False when it was there already.
/// What is interrupted leaves nothing that looks done.
bool SaveOnce(IVqEWSFolder& folder, const TItemId& id, const string& subject, const fs::path& target);
