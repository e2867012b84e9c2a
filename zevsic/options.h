// The command line: zevsic [-d Debug ]
#pragma once

// Reads the options; ends the process with status 1 on a wrong one. Arguments that are no options are
// ignored.
void read_options(int argc, char **argv);
