// How inputs that are calibration files are changed, in every target that reads them.
#include "fuzz/file_input.h"

#include <cstring>

#include "tests/calibration_image.h"

namespace {

/** What is worth changing: how the file is used, and each field. */
const ImageField& anyField(size_t choice) {
    static constexpr ImageField control[] = {{"ratio", 'i', ratioControl},
                                             {"flag, shape and seal", 'b', flagControl, 3}};
    choice %= std::size(control) + std::size(fields);
    return choice < std::size(control) ? control[choice] : fields[choice - std::size(control)];
}

}  // namespace

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

/** Mostly changes one value that matters; three in four bytes of a file do not. */
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned int seed) {
    if (size < CALIBMAP_FILE_SIZE || seed % 32 == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const ImageField& field = anyField(seed / 32);
    const size_t choice = seed / 1024;
    const size_t valueSize = field.type == 'b' ? 1 : 4;
    uint8_t* first = data + field.offset;
    uint8_t* value = first + choice % field.count * valueSize;
    if (choice / 256 % 4 == 0) {  // equal neighbours: repeated break points
        std::memcpy(value, first + choice / 1024 % field.count * valueSize, valueSize);
    } else {
        LLVMFuzzerMutate(value, valueSize, valueSize);
    }
    return size;
}
