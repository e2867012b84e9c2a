// The radio tools that zevsic runs, made from nl80211. One program, several names.
#pragma once

// Whether a program called so is one of the tools.
bool is_tool(const char *program);

// Runs the tool: 0 when it printed what it was asked for; 1 with a line on standard error; 2 wrong usage.
int run_tool(const char *program, int count, char **words);
