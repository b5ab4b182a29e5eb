/**
 * For a section whose content is asked for faster than it can be made. `show(request)` has `draw(request, signal)` make
 * the content for the latest request, which `request` holds, and ends the work on the one before; null hides the
 * section. Meanwhile it is marked as busy.
 */
export function latestIn(section, draw, onError) {
  let canceller = new AbortController();
  const view = { request: null, show };

  async function show(request) {
    canceller.abort();
    canceller = new AbortController();
    const { signal } = canceller;
    view.request = request;
    section.hidden = request === null;
    section.setAttribute('aria-busy', !section.hidden);
    if (section.hidden) {
      return;
    }
    try {
      await draw(request, signal);
    } catch (error) {
      if (!signal.aborted) {
        onError(error);
      }
    }
    if (!signal.aborted) {
      section.setAttribute('aria-busy', 'false');
    }
  }
  return view;
}
