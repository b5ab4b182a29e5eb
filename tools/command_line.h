#pragma once

/** Reads the command line, runs the command and returns the exit status of the program. */
int runCommandLine(int argc, char** argv);

/** Prints one line on standard error and returns the exit status. */
int complain(const char* text, int status);
