"""File images with other values in them."""
import struct

RANGES = {'main camera': (13, 4112), 'sub camera': (4126, 2100), 'extrinsics': (6227, 24), 'whole file': (0, 6267)}
UNDISTORTION, DISTORTION = 13 + 2100, 13 + 88
X_BREAKS, X_CORRECTION, Y_CORRECTION = 16, 108, 1060
SIZE, FOCAL_LENGTHS, PRINCIPAL_POINT = 17, 25, 33


def sealed(image, changes):
    """A copy of a file image with other bytes from some offsets on, all four checksums right."""
    image = bytearray(image)
    for offset, data in changes.items():
        image[offset:offset + len(data)] = data
    for first, size in RANGES.values():
        image[first + size] = 255 - sum(image[first:first + size]) % 256
    return bytes(image)


def sized(image, width, height):
    return sealed(image, {17: struct.pack('<ii', height, width)})


def floats(*values):
    return struct.pack(f'<{len(values)}f', *values)


def enlarged(image, times):
    """The same lens before a sensor with so many times as many columns and rows."""
    height, width = struct.unpack_from('<ii', image, SIZE)
    lens = struct.unpack_from('<4f', image, FOCAL_LENGTHS)
    return sized(sealed(image, {FOCAL_LENGTHS: floats(*(times * number for number in lens))}), int(times * width),
                 int(times * height))
