/**
 * Where the page finds the fields that no exported function reads: byte offsets, from calibmap.h. A test holds
 * them against that header.
 */
export const layout = Object.freeze({
  CALIBMAP_FILE_SIZE: 6268,
  CALIBMAP_PASS_FLAG: 1,

  CALIBMAP_MAIN_BLOCK: 13,
  CALIBMAP_MAIN_BLOCK_SIZE: 4112,
  CALIBMAP_SUB_BLOCK: 4126,
  CALIBMAP_SUB_BLOCK_SIZE: 2100,
  CALIBMAP_EXTRINSIC_BLOCK: 6227,
  CALIBMAP_EXTRINSIC_BLOCK_SIZE: 24,
  CALIBMAP_CHECKED_SIZE: 6267,

  CALIBMAP_COEFF_COUNT: 6,
  CALIBMAP_X_ORDER: 84,
  CALIBMAP_Y_ORDER: 85,
  CALIBMAP_X_PIECES: 86,
  CALIBMAP_Y_PIECES: 87,
});

/** The status codes and the flags that the page uses, from the same header. */
export const codes = Object.freeze({
  CALIBMAP_SUCCESS: 0,
  CALIBMAP_BAD_ARGUMENT: 1,
  CALIBMAP_FILE_MISSING: 4,
  CALIBMAP_STEP_FAILED: 7,
  CALIBMAP_FILE_UNREADABLE: 8,
  CALIBMAP_CHECKSUM_WRONG: 9,
  CALIBMAP_NOT_PASSED: 10,
  CALIBMAP_UNSUPPORTED: 13,

  CALIBMAP_DISTORTION: 1,
  CALIBMAP_UNDISTORTION: 2,
  CALIBMAP_FILE_CHECK: 3,
});
