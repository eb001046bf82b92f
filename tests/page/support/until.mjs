/** Far more than anything here takes on a busy machine, with sanitizers. */
export const patience = 30_000;

/**
 * Asks for the condition, which may be asynchronous, until it gives something true, and returns that. Rejects with
 * what was waited for when it does not come within the time.
 */
export async function until(condition, what, time = patience) {
  const deadline = performance.now() + time;
  for (;;) {
    const result = await condition();
    if (result) return result;
    if (performance.now() > deadline) throw new Error(`waited ${time / 1000} s in vain: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}
