/** For the packages beside this one: options of a function, taken from what its caller hands in, or a TypeError. */
export interface Described {
  test(value: unknown, context?: unknown): boolean;
  sentence?: string | ((value: unknown, context?: unknown) => string) | undefined;
  fallback?: unknown;
  take?: ((value: unknown, context?: unknown) => unknown) | undefined;
}

export function takeOptions(
  called: string,
  described: Record<string, Described>,
  given: unknown,
  context?: unknown,
): Record<string, unknown>;
