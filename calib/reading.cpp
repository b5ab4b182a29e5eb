#include <stdio.h>
#include <unistd.h>

#include "calibmap.h"

int32_t isFileExists(const char* path) {
    return access(path, F_OK) == 0 ? 0 : -1;
}

int32_t readCalibrationDataC(const char* path, uint8_t* image) {
    FILE* file = fopen(path, "rb");
    if (file == nullptr) {
        return -1;
    }
    // One read, straight into the image, instead of several through a buffer.
    setvbuf(file, nullptr, _IONBF, 0);
    const size_t bytesRead = fread(image, 1, CALIBMAP_FILE_SIZE, file);
    fclose(file);
    return bytesRead == CALIBMAP_FILE_SIZE ? 0 : -1;
}
