/**
 * For programs that write outputs of their own beside those of this package: a file or folder is written under a hidden
 * name beside its place, and appears there whole or not at all. What is refused rejects with a VortenaError, as the
 * outputs of `vortena-reader/promises` do.
 */

export interface PlaceOptions {
  /** Whether what stands at the path may be replaced; else it rejects with `ERR_OUTPUT_EXISTS`. Default true. */
  overwrite?: boolean | undefined;
  /**
   * For outputs in whose bytes a recording's header can appear by chance, as in compressed ones: nothing is taken for a
   * recording then, and it is yours to see that what stands there is none. Default false.
   */
  mayBeginLikeRecording?: boolean | undefined;
}

/**
 * A path beside `output` for a file or folder under way: NAME.part-HOST-PID-N. Create it with mode 0600, or 0700: it
 * gets the rights of what it replaces, or those of something new, when it appears.
 */
export function partOf(output: string): string;

/** Removes, directly in `folders`, what processes of this host that are no more left unfinished. */
export function clearParts(folders: Iterable<string>): Promise<void>;

/** Rejects when a file, or a folder, cannot appear at `output`. For asking before the work: publish() asks again. */
export function requirePlace(output: string | URL, options?: PlaceOptions & { folder?: boolean | undefined }): Promise<void>;

/**
 * Gives the file or folder `part` its name. Links stay links, owner, mode and access list of what is replaced stay.
 * Where nothing stood, nothing is replaced. Resolves with the path to which a folder that was replaced went, for you to
 * remove; otherwise ''. `fsync`: the file, or the folder without its files, and the name are on the disk then.
 */
export function publish(
  part: string | URL,
  output: string | URL,
  options?: PlaceOptions & { fsync?: boolean | undefined },
): Promise<string>;
