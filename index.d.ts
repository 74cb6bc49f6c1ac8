/**
 * Reader of the recordings of Vortena inertial measurement units.
 *
 * Every method is synchronous: it blocks the calling thread until files are read and written. The functions of
 * `vortena-reader/promises` do not block, give reasons for failures, and give the samples themselves. Worker threads may call
 * the methods at the same time; calls share nothing. Paths are UTF-8 and end at their first zero character. Halves of
 * surrogate pairs become U+FFFD from Node.js 24 on, and invalid UTF-8 before.
 *
 * Argument errors throw a `TypeError` with the message "Wrong number of arguments" or "Wrong arguments". Failures of
 * reading or writing are ordinary result texts, listed with each method. If the module itself gets no memory, it throws an
 * `Error`. It cannot help when the heap of the JavaScript engine is full.
 *
 * Loading throws an `Error` whose `code` is `ERR_ADDON_NOT_BUILT` when none of the package's binaries loads; its message
 * names the cause for each and the command that mends it (docs/installing.md).
 */

/** What {@link read} answers with, after `JSON.parse`, when the CSV file could be created. */
export interface ReadSummary {
  /** Start of the recording, `year-month-day hour:minute:second`; `0000-00-00 00:00:00` when unknown. */
  createdAt: string;
  /** End of the recording, in the same form. */
  endDate: string;
  /** Time base of the recording, ticks per second. */
  frequency: number;
  /** Firmware version, as digits in a string. */
  version: string;
  /** Firmware minor version, as digits in a string. */
  minorVersion: string;
  /** Firmware major version, as digits in a string. */
  majorVersion: string;
  /** Identifier of the measurement; -1 when the recording has none. */
  measureId: number;
}

/** What {@link read} answers with, after `JSON.parse`, when the CSV file could not be created. */
export interface ReadFailure {
  error: 'Error during data loading.';
}

/** Settings of the accelerometer or gyroscope. Calibration values carry their integer part only. */
export interface SensorSettings {
  /** Sampling frequency, Hz. */
  frequency: number;
  /** Full scale: g for the accelerometer, degrees per second for the gyroscope. */
  range: number;
  /** Offsets in the unit of the range, subtracted after scaling. */
  offsetX: number;
  offsetY: number;
  offsetZ: number;
  /** Dimensionless gains, divided by after the offset. */
  gainX: number;
  gainY: number;
  gainZ: number;
}

/** What {@link readConfig} answers with, after `JSON.parse`. Absent settings leave their member out. */
export interface Configuration {
  /** Base64 of all header frames that the reader does not understand, in file order. */
  unknownFrames: string;
  gyro?: SensorSettings;
  accel?: SensorSettings;
  /** Barometer; `frequency` in Hz. */
  baro?: { frequency: number };
  /** Satellite-position receiver; `frequency` in Hz. */
  gps?: { frequency: number };
  /** Present, like the seven members after it, when the header names the device or its firmware. Signed 32-bit. */
  deviceId?: number;
  deviceType?: number;
  bodyLocation?: number;
  version?: number;
  majorVersion?: number;
  minorVersion?: number;
  radioMode?: number;
  radioChannel?: number;
  /** Start and end of the recording, `year-month-day hour:minute:second`. */
  createdAt: string;
  endDate: string;
  /** Time base of the recording, ticks per second. */
  frequency: number;
  /** Identifier of the measurement; -1 when the recording has none. */
  measureId: number;
}

/**
 * Decodes one recording, adds the orientation, writes one CSV file and answers with a summary. The file has gyroscope,
 * accelerometer, barometer, events and orientation. The three-axis raw channel and the 32-bit time channel are not in it,
 * and the one-byte channel only where there are no events.
 *
 * A recording that cannot be read still gives a CSV with headers only, and a summary of defaults. The third line of the
 * CSV, "Total data points: N", has the number of rows. Write errors after the CSV was created, such as a full disk, are not
 * reported: a complete file has N rows after its seven header lines.
 *
 * @param path the recording file.
 * @param csvPath the CSV file to create or overwrite; its folder must exist.
 * @returns JSON text of a {@link ReadSummary}, or of a {@link ReadFailure} when the CSV file cannot be created.
 * @throws TypeError when there are fewer than two arguments or one of the first two is not a primitive string.
 */
export function read(path: string, csvPath: string): string;

/**
 * Reads recordings made together by several units, adds the orientation to each, brings all onto one clock, cuts them to
 * their common span and writes one CSV file for each: the output folder, "/", the recording's file name without its last
 * extension, ".csv". Two recordings of the same name overwrite each other's CSV.
 *
 * Row i of every CSV is the same instant, to within half a sample, if the recordings overlap, have one time base and one
 * set of sampling frequencies, and lost no samples. "OK" does not mean aligned: after a dropout of 0.5 s in one recording,
 * its later rows are 0.5 s apart from the others', and recordings that do not overlap give about one row each. Events are
 * not in these files; the Event column holds the one-byte channel, which keeps its own clock.
 *
 * The reason for a failed synchronisation is printed on standard error; docs/synchronisation.md lists the messages.
 *
 * @param paths the recording files; an empty list is "OK".
 * @param outputFolder an existing folder for the CSV files.
 * @returns "OK"; "-10" a recording could not be read; "-13" an orientation could not be computed (no accelerometer or
 *   gyroscope samples, or different sampling frequencies); "-11" the synchronisation failed; "-12" a CSV file could not
 *   be created. Only after "OK" and "-12" may CSV files have been written.
 * @throws TypeError when the arguments are too few, or not an array of primitive strings and a primitive string.
 * @throws Error when the list would take more than 256 MiB before anything is read: some 300,000 recordings.
 */
export function readAndSync2(paths: readonly string[], outputFolder: string): 'OK' | '-10' | '-11' | '-12' | '-13';

/**
 * Reads the configuration header of a recording.
 *
 * @param path the recording file; its first 512 bytes are enough.
 * @returns JSON text of a {@link Configuration}, or the empty string when the file cannot be read or has no header.
 * @throws TypeError when the argument is missing or not a primitive string.
 */
export function readConfig(path: string): string;

/**
 * Writes a file that holds the header frames of a configuration text and nothing else. An existing file is replaced: do
 * not write over a recording that is still needed.
 *
 * Entries are separated by ":", their fields by ","; the first field is the key. docs/configuration-text.md lists the
 * keys. Example: `device,1234,2,5:firmware,3,1,0:radio,1,12:accel,200,16,0,0,0,1,1,1`.
 *
 * @param path the file to create or overwrite.
 * @param config the configuration text.
 * @returns "OK", or "ERROR" when the file cannot be created.
 * @throws TypeError when there are fewer than two arguments or one of the first two is not a primitive string.
 * @throws Error that names the entry, and the field where there is one, when an entry is empty, has too few fields, or a
 *   field that does not start with a signed 32-bit decimal number, or when the frames exceed the 512 bytes of a header.
 *   The file has been created and is empty. Surplus fields are ignored; an unknown key adds an empty frame.
 */
export function writeConfig(path: string, config: string): 'OK' | 'ERROR';

/**
 * Reads the device identifier of a recording.
 *
 * @param path the recording file; its first 512 bytes are enough.
 * @returns JSON text `{"deviceId":N}` with N a signed 32-bit number, -1 when the header names no device; or the empty
 *   string when the file cannot be read or has no header.
 * @throws TypeError when the argument is missing or not a primitive string.
 */
export function readConfigDeviceId(path: string): string;
