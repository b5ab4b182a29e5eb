// What the program's sources ask of a system, where there is none but the page.
#include "library_call.h"

// No descriptor needs to be kept: what the library prints stays in its instance, and mixes with no
// results.
#pragma clang diagnostic ignored "-Wunused-private-field"
DiagnosticCapture::DiagnosticCapture() : standardOutput_(-1), scratch_(-1) {}
DiagnosticCapture::~DiagnosticCapture() = default;
