/** What the library's answer means, in the words of the command line program. */
import { codes, layout } from './layout.js';

/** {headline, reason, remedy} for what `examine` found; without reason and remedy when a device accepts the file. */
export function verdictOf(examination) {
  const { status } = examination;
  if (status === codes.CALIBMAP_SUCCESS) {
    return { headline: 'Accepted: a device takes this file', reason: '', remedy: '' };
  }
  return { headline: 'Refused: a device does not take this file', ...reasonOf(examination) };
}

function reasonOf({ status, size, isReadable, ranges, passFlag }) {
  const copyAgain = 'copy it from the device again';
  const calibrateAgain = 'have the device calibrated again';
  if (!isReadable) {
    return { reason: 'the browser cannot read it', remedy: 'check that it is a file and that you may read it' };
  }
  if (status === codes.CALIBMAP_FILE_UNREADABLE) {
    return { reason: `it holds ${size} of the ${layout.CALIBMAP_FILE_SIZE} bytes`, remedy: copyAgain };
  }
  if (status === codes.CALIBMAP_CHECKSUM_WRONG) {
    const wrong = damagedRanges(ranges).map((range) => range.name);
    return {
      reason: `the checksum does not hold (${wrong.join(' and ')})`,
      remedy: `${copyAgain} or ${calibrateAgain}`,
    };
  }
  if (status === codes.CALIBMAP_NOT_PASSED) {
    return { reason: `the pass flag is ${passFlag}, so the calibration failed`, remedy: calibrateAgain };
  }
  return { reason: 'the library refuses it', remedy: 'see its words' };
}

export const damagedRanges = (ranges) => ranges.filter((range) => range.stored !== range.computed);

/** Why the library answered a request for a map with a status other than 0. */
export function whyNoMap(status, { width, height }, ratio) {
  if (status === null) {
    return `a map of ${width} x ${height} pixels with ratio ${ratio} does not fit into the memory of a page`;
  }
  if (width < 1 || height < 1) {
    return 'the image has no pixels';
  }
  if (ratio !== 1 && (ratio < 1 || ratio % 2 !== 0)) {
    return 'a ratio is 1 or a positive even number';
  }
  if (ratio > width || ratio > height) {
    return `the ratio is more than the image of ${width} x ${height} pixels has`;
  }
  const isLarge = (width / ratio) * (height / ratio) > 1e8;
  const orMemory = isLarge ? ', or the memory of a page does not hold so large a map: try a larger ratio' : '';
  return `the library refuses its models or its image size${orMemory}`;
}
