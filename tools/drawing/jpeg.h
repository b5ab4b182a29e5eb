#pragma once

#include <string>

#include "drawing/picture.h"

/** The first byte of a JPEG file, and of no PNG file. */
inline constexpr int firstOfJpeg = 0xFF;

/** A JPEG picture from all bytes of its file; throws a `Failure` if it is of another size, or none.
 */
Picture jpegFrom(const std::string& bytes, const std::string& name, int32_t width, int32_t height);

/** Writes a JPEG file, which has neither 16 bits nor opacity. */
void writeJpeg(const std::string& path, const Picture& picture);
