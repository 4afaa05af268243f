// The three descriptors that a process is started with.
#pragma once

// Opens /dev/null on those of the descriptors 0, 1 and 2 that are closed: the next file opened would get
// their number, and messages would land in it. Returns 0, or -1, silently, when that fails.
int open_standard_streams();
