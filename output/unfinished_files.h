// The files of outputs that are not complete. A signal that ends the process takes them along: none is left
// behind, however many threads are at work.
#pragma once

#include <string>

#include "output/file_handle.h"

namespace vexlo {

// Creates the file of an output that is not complete, in place of one that a process of the same number has
// left. Without a descriptor, and with errno set, when it cannot be.
FileHandle create_unfinished(const std::string &path);

// Gives the file its final name, in place of an older file there. Returns what rename() does.
int rename_unfinished(const std::string &path, const std::string &final_path);

// Removes the file, if it is there.
void remove_unfinished(const std::string &path);

// From here on SIGINT, SIGTERM and SIGHUP, those that are ignored excepted, remove all such files before they
// end the process in their usual way. To be called once, before any other thread is started.
void remove_unfinished_on_signals();

} // namespace vexlo
