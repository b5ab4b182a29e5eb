#pragma once

#include <string>

/**
 * A piece of work. If it takes more than two seconds and standard error is a terminal, it is named
 * there, with how far it has come or how long it has taken, until it ends. One exists at a time;
 * one that begins inside another is silent.
 */
class Progress {
  public:
    explicit Progress(const std::string& work);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    /** Tells how much of the work is done, from 0 to 1. */
    void reached(double fraction) const;

  private:
    bool isOutermost_;
};
