#pragma once

#include <stdexcept>
#include <string>

/** The exit status of the program: what a script learns from it. */
enum ExitStatus : int {
    exitGood = 0,
    exitRefused = 1, /**< refused, differing, or not done */
    exitUsage = 2,   /**< the command line asks for something that does not exist */
    exitTrouble = 2, /**< of a comparison: it could not be made */
};

/** Prints one line on standard error about something that does not stop the command. */
void warn(const std::string& subject, const std::string& text);

/** Prints one line on standard error and returns the exit status. */
int complain(const char* text, int status);

/** A refusal in one line: what it is about, what is wrong with it, and what to do. */
class Failure : public std::runtime_error {
  public:
    Failure(const std::string& subject, const std::string& wrong, const std::string& remedy)
        : std::runtime_error(subject + ": " + wrong + ", " + remedy) {}
};
