/**
 * A map as a NumPy file of format 1.0 and shape (2, rows, cols), x before y: a magic string, the length of the
 * header, the header, the data.
 */
export function npyFile(map) {
  const prefix = 10;
  const alignment = 64;
  const shape = `(2, ${map.rows}, ${map.cols})`;
  let header = `{'descr': '<f4', 'fortran_order': False, 'shape': ${shape}, }`;
  header = header.padEnd(Math.ceil((prefix + header.length + 1) / alignment) * alignment - prefix - 1) + '\n';
  const start = new Uint8Array(prefix + header.length);
  start.set([0x93, ...new TextEncoder().encode('NUMPY'), 1, 0, header.length & 0xff, header.length >> 8]);
  start.set(new TextEncoder().encode(header), prefix);
  // WebAssembly runs on little-endian machines, or as if on one, and so do these arrays in every browser.
  return new Blob([start, map.x, map.y], { type: 'application/octet-stream' });
}
