/**
 * Where a thread's stack ends, a guard page lies, and whoever touches it is stopped. A frame as
 * large as a file image could step over it.
 */
#ifndef CALIBMAP_CALIB_STACK_H
#define CALIBMAP_CALIB_STACK_H

namespace calibmap {

/**
 * Touches the stack below the caller, in steps smaller than any page, as deep as the frame of a
 * function that holds a file image. Called before such a function, it meets the guard page where
 * the stack ends. Compilers can be told to build frames that do so themselves, but not all of them
 * for every machine, nor for pages of 4 KiB.
 */
void touchStackForImage();

}  // namespace calibmap

#endif
