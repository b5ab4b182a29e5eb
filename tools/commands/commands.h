#pragma once

#include <array>

#include "command_line.h"

// Each command declares itself to the program: its options, its help and the function that does
// it, all in the file of its name.

void addMake(Program& program);
void addSample(Program& program);
void addCheck(Program& program);
void addInfo(Program& program);
void addMap(Program& program);
void addDraw(Program& program);
void addRemap(Program& program);
void addPattern(Program& program);
void addDiff(Program& program);
void addPoint(Program& program);

/** All of them, in the order in which the help lists them. */
inline constexpr std::array commands = {addMake,  addSample, addCheck, addInfo,    addMap,
                                        addPoint, addDraw,   addRemap, addPattern, addDiff};
