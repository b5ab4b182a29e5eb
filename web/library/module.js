/**
 * The compiled library with what is said and shown of its answers. Every instance begins with fresh memory, as a
 * process on a device does, whatever a file has done to the one before.
 */
import { makeFileSystem } from './file_system.js';
import { readAnswer } from './reader.js';

let memories = [];

/** The bytes of memory that instances have taken and not given back. */
export function memoryTaken() {
  memories = memories.filter((memory) => memory.deref());
  return memories.reduce((sum, memory) => sum + (memory.deref()?.buffer.byteLength ?? 0), 0);
}

const fileName = 'calibration.bin';

/** Instances that have answered all that they were asked, {file, exports, begun}, `begun` being how their memory began. */
const resting = [];
const mostRested = 32 << 20;

async function instantiate(compiled) {
  const file = { name: fileName, reached: null };
  const system = makeFileSystem(file, () => file.memory);
  const page = { reached: (part) => file.reached(part) };
  const { exports } = await WebAssembly.instantiate(compiled, { ...system, page });
  file.memory = exports.memory;
  memories.push(new WeakRef(exports.memory));
  exports._initialize();
  new Uint8Array(exports.memory.buffer, exports.calibin.value).set(new TextEncoder().encode(`/${fileName}\0`));
  return { file, exports, begun: new Uint8Array(exports.memory.buffer.slice(0)) };
}

export const linesOf = ({ printed }) => printed.split('\n').filter((line) => line !== '');

/**
 * An instance in which `calibin` names a file of these bytes; with null the file exists and cannot be opened.
 * `reached` is called with how much of a long answer is done. `ask(name, ...arguments)` calls an exported function;
 * texts and bytes are put into the memory for it.
 */
export async function startModule(compiled, bytes, reached = () => {}) {
  const instance = resting.pop() ?? (await instantiate(compiled));
  const { file, exports, begun } = instance;
  const { memory } = exports;
  Object.assign(file, { bytes, reached, printed: '' });

  function put(data) {
    const address = exports.malloc(data.length) >>> 0;
    new Uint8Array(memory.buffer, address, data.length).set(data);
    return address;
  }

  function argument(value) {
    if (typeof value === 'string') {
      return put(new TextEncoder().encode(`${value}\0`));
    }
    return ArrayBuffer.isView(value) ? put(value) : value;
  }

  function ask(name, ...values) {
    const address = exports[name](...values.map(argument));
    // An address in the upper half of the memory looks like a negative number.
    return address === undefined ? undefined : readAnswer(memory, address >>> 0);
  }

  /** Gives the instance back, its memory as it began: a new one costs as much as an answer, and many one's worker. */
  function rest() {
    if (memory.buffer.byteLength <= mostRested) {
      new Uint8Array(memory.buffer).fill(0, begun.length).set(begun);
      resting.push(instance);
    }
  }

  if (bytes) {
    ask('takeFile', 0, bytes, bytes.length);
  }
  return { ask, exports, memory, rest, linesPrinted: () => linesOf(file) };
}
