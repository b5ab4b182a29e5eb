/**
 * For a section whose content is asked for faster than it can be made: the function that is returned runs
 * `work(signal)` for the latest wish and ends the one before. Meanwhile the section is marked as busy.
 */
export function latestOnly(section, onError) {
  let canceller = new AbortController();
  return async (work) => {
    canceller.abort();
    canceller = new AbortController();
    const { signal } = canceller;
    section.setAttribute('aria-busy', 'true');
    try {
      await work(signal);
    } catch (error) {
      if (!signal.aborted) {
        onError(error);
      }
    }
    if (!signal.aborted) {
      section.setAttribute('aria-busy', 'false');
    }
  };
}
