/** Reads what answer.h writes at an address of a module's memory, as plain objects that are copies. */
export function readAnswer(memory, address) {
  const view = new DataView(memory.buffer);
  let at = address;
  const count = () => view.getUint32((at += 4) - 4, true);
  const bytes = (size) => memory.buffer.slice(at, (at += size));
  const readers = {
    n: () => view.getFloat64((at += 8) - 8, true),
    t: () => true,
    f: () => false,
    s: () => new TextDecoder().decode(bytes(count())),
    l: () => Array.from({ length: count() }, value),
    b: () => new Uint8ClampedArray(bytes(count())),
    p: () => new Float64Array(bytes(2 * Float64Array.BYTES_PER_ELEMENT * count())),
    o() {
      const record = {};
      while (view.getUint8(at) !== 0) {
        const name = value();
        record[name] = value();
      }
      ++at;
      return record;
    },
  };
  function value() {
    return readers[String.fromCharCode(view.getUint8(at++))]();
  }
  return value();
}
