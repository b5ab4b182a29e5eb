#pragma once

#include <string>
#include <vector>

#include "inspection/check.h"
#include "inspection/difference.h"

// What is said of many files, one row each, for spreadsheets.

/** The names of the columns, and the row of one file. Texts are empty where there is nothing. */
std::vector<std::string> columnsOfChecks();
std::vector<std::string> rowOf(const Check& check);

/** The same of the second file of each comparison; distances are in pixels. */
std::vector<std::string> columnsOfDifferences();
std::vector<std::string> rowOf(const Difference& difference);

/** A row as a line of comma-separated values (RFC 4180), without its end. */
std::string csvLine(const std::vector<std::string>& row);
