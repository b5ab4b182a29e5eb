/** Colours of pictures: a scale for values, and the ink of texts and frames in each theme. */

export const themes = {
  light: { paper: '#ffffff', ink: '#212126', faintInk: '#6b6b73' },
  dark: { paper: '#17181c', ink: '#e8e8ec', faintInk: '#a2a2ad' },
};

/** What a heat map shows where there is no value, and where the value is none. */
export const colours = { uncovered: [237, 237, 240], lost: [107, 107, 115] };

const between = (a, b, t) => a + (b - a) * t;

/** The transfer function of sRGB, to a byte. */
function encoded(linear) {
  const value = Math.min(Math.max(linear, 0), 1);
  return Math.round(255 * (value <= 0.0031308 ? 12.92 * value : 1.055 * value ** (1 / 2.4) - 0.055));
}

function fromOklab(lightness, a, b) {
  const l = (lightness + 0.3963377774 * a + 0.2158037573 * b) ** 3;
  const m = (lightness - 0.1055613458 * a - 0.0638541728 * b) ** 3;
  const s = (lightness - 0.0894841775 * a - 1.291485548 * b) ** 3;
  return [
    encoded(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s),
    encoded(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s),
    encoded(-0.0041960863 * l - 0.7034186147 * m + 1.707614701 * s),
  ];
}

/** The lightness in Oklab, 0 to 1, of `heat(t)`. */
export const heatLightness = (t) => between(0.3, 0.93, t);

/**
 * A perceptually uniform scale for t from 0 to 1, from dark violet over teal to light yellow, as red, green and
 * blue bytes: the one of the command line program.
 */
export function heat(t) {
  const hue = (between(300, 105, t) * Math.PI) / 180;
  const chroma = 0.125 - 0.14 * t + 0.165 * t * t;
  return fromOklab(heatLightness(t), chroma * Math.cos(hue), chroma * Math.sin(hue));
}

/** `heat` for many values: the colours are many, and a table of them is as good as any number of them. */
export function heatTable() {
  const size = 1024;
  const table = new Uint8Array(3 * size);
  for (let i = 0; i < size; ++i) {
    table.set(heat(i / (size - 1)), 3 * i);
  }
  return { size, table };
}
