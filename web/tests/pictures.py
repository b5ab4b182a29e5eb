"""Pictures as arrays, and the lines in them."""
import numpy as np
from PIL import Image


def read_picture(path):
    """rows x cols x 3 bytes."""
    with Image.open(path) as picture:
        return np.asarray(picture.convert('RGB'))


def lines_in(picture, radius=4, contrast=24):
    """Where a figure holds a line or a letter: pixels that are lighter or darker than what is around them."""
    grey = picture.mean(axis=2)
    size = 2 * radius + 1
    sums = np.pad(grey, radius + 1, mode='edge').cumsum(axis=0).cumsum(axis=1)
    around = (sums[size:, size:] - sums[:-size, size:] - sums[size:, :-size] + sums[:-size, :-size]) / size**2
    rows, cols = grey.shape
    return np.abs(grey - around[:rows, :cols]) > contrast


def share_near(mask, other, distance):
    """The share of a mask's pixels that have a pixel of the other within a distance."""
    reach = int(distance)
    near = np.zeros_like(other)
    for down in range(-reach, reach + 1):
        for right in range(-reach, reach + 1):
            if down**2 + right**2 <= distance**2:
                near |= np.roll(other, (down, right), axis=(0, 1))
    return (mask & near).sum() / mask.sum()
