// SIGINT, SIGTERM and SIGHUP: the run ends in order, with a record to resume from.
#pragma once

namespace vexlo {

// Thrown where a run ends because it was asked to.
struct Stopped {};

// Lets the first of these signals ask for the end; a second one ends the program at once. One that is
// ignored, as under nohup, stays so.
void catch_stop_signals();

// Throws Stopped once a signal has come.
void check_stop();

} // namespace vexlo
