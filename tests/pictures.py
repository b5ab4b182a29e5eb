"""PNG files by their definition, not by the library that the program reads and writes them with."""
import struct
import zlib

import numpy as np


def png_chunks(path):
    """The chunks of a PNG file, those of one kind joined."""
    with open(path, 'rb') as file:
        data = file.read()
    assert data[:8] == b'\x89PNG\r\n\x1a\n'
    at, chunks = 8, {}
    while at < len(data):
        size, kind = struct.unpack('>I4s', data[at:at + 8])
        body = data[at + 8:at + 8 + size]
        assert zlib.crc32(kind + body) == struct.unpack('>I', data[at + 8 + size:at + 12 + size])[0]
        chunks[kind] = chunks.get(kind, b'') + body
        at += size + 12
    return chunks


def read_png(path):
    """The samples of a PNG without palette."""
    chunks = png_chunks(path)
    width, height, bits, colour, _, _, interlace = struct.unpack('>IIBBBBB', chunks[b'IHDR'])
    packed = chunks[b'IDAT']
    assert colour in (0, 2, 4, 6) and bits in (8, 16) and interlace == 0
    channels = {0: 1, 2: 3, 4: 2, 6: 4}[colour]
    step = channels * bits // 8
    raw = zlib.decompress(packed)
    line, rows = width * step, [bytes(width * step + step)]
    for start in range(0, len(raw), line + 1):
        kind, above, row = raw[start], rows[-1], bytearray(step) + raw[start + 1:start + 1 + line]
        for i in range(step, step + line) if kind else ():
            left, up, corner = row[i - step], above[i], above[i - step]
            if kind == 4:
                guess = min((left, up, corner), key=lambda value: abs(left + up - corner - value))
            else:
                guess = left if kind == 1 else up if kind == 2 else (left + up) // 2
            row[i] = (row[i] + guess) & 255
        rows.append(row)
    pixels = np.frombuffer(b''.join(row[step:] for row in rows[1:]), np.uint8).reshape(height, line)
    samples = pixels.view('>u2') if bits == 16 else pixels
    return samples.astype(np.int64).reshape((height, width, channels) if channels > 1 else (height, width))


def write_png(path, picture, bits, chunks=()):
    rows = picture.astype('>u2' if bits == 16 else np.uint8).reshape(picture.shape[0], -1)
    packed = zlib.compress(b''.join(b'\0' + row.tobytes() for row in rows))
    colour = {1: 0, 2: 4, 3: 2, 4: 6}[picture.shape[2] if picture.ndim == 3 else 1]
    head = struct.pack('>IIBBBBB', picture.shape[1], picture.shape[0], bits, colour, 0, 0, 0)
    with open(path, 'wb') as file:
        file.write(b'\x89PNG\r\n\x1a\n')
        for kind, body in ((b'IHDR', head), *chunks, (b'IDAT', packed), (b'IEND', b'')):
            file.write(struct.pack('>I', len(body)) + kind + body +
                       struct.pack('>I', zlib.crc32(kind + body)))
