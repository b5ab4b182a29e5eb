/**
 * For a section whose content is asked for faster than it can be made. `show(request)` has `draw(request, signal)` make
 * the content for the latest request and ends the work on the one before; a request with the `key` of the last one is
 * on screen already, null hides the section. Meanwhile it is marked as busy. `redraw()` makes the content again.
 */
export function latestIn(section, draw, onError) {
  let canceller = new AbortController();
  let request = null;

  async function redraw() {
    canceller.abort();
    canceller = new AbortController();
    const { signal } = canceller;
    section.hidden = request === null;
    section.setAttribute('aria-busy', !section.hidden);
    if (section.hidden) {
      // What is not seen takes no memory.
      section.querySelectorAll('canvas').forEach((canvas) => (canvas.width = canvas.height = 0));
      return;
    }
    try {
      await draw(request, signal);
    } catch (error) {
      if (!signal.aborted) {
        request = null;
        onError(error);
      }
    }
    if (!signal.aborted) {
      section.setAttribute('aria-busy', 'false');
    }
  }

  function show(next) {
    if (next?.key !== request?.key) {
      request = next;
      redraw();
    }
  }
  return { show, redraw };
}
