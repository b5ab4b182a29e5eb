/** What the library's answer means, in the words of the command line program. */
import { codes, layout } from './layout.js';

const copyAgain = 'copy it from the device again';
const calibrateAgain = 'have the device calibrated again';

/**
 * {isGood, headline, agreement, reasons, remedy} for what `examine` found: how well the maps of a file agree that can
 * be used; what is wrong with any other, and what to do about it.
 */
export function verdictOf(examination) {
  const { status, use } = examination;
  if (status !== codes.CALIBMAP_SUCCESS) {
    const { reason, remedy } = reasonOf(examination);
    return { isGood: false, headline: 'Refused: a device does not take this file', reasons: [reason], remedy };
  }
  return use.isUsable
    ? { isGood: true, headline: 'Accepted and usable: a device takes this file', agreement: `The ${use.findings[0]}.` }
    : {
        isGood: false,
        headline: 'Accepted but not usable: a device takes this file, but cannot use it',
        reasons: use.findings,
        remedy: calibrateAgain,
      };
}

function reasonOf({ status, size, isReadable, ranges, passFlag }) {
  if (!isReadable) {
    return { reason: 'the browser cannot read it', remedy: 'check that it is a file and that you may read it' };
  }
  if (status === codes.CALIBMAP_FILE_UNREADABLE) {
    return {
      reason: `it has ${size} bytes, and a calibration file ${layout.CALIBMAP_FILE_SIZE}`,
      remedy: `check its size and permissions, or ${copyAgain}`,
    };
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
  if (!isLarge) {
    return 'the library refuses its models';
  }
  const nextRatio = ratio === 1 ? 2 : ratio + 2;
  const canBeCoarser = nextRatio <= Math.min(width, height);
  return (
    `a map of ${width} x ${height} pixels with ratio ${ratio} is too large for the library or the memory of a page` +
    (canBeCoarser ? ': try a larger ratio' : '')
  );
}
