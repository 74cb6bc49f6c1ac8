// Configuration headers: as objects for users, and as the text that a header is written from.
'use strict';

const { startOf } = require('./wall-time.js');
const { VortenaError } = require('./errors.js');

/** Pages have no Buffer. */
function bytesOf(base64) {
  return typeof Buffer === 'undefined'
    ? Uint8Array.from(atob(base64), (character) => character.charCodeAt(0))
    : Buffer.from(base64, 'base64');
}

/** `config` as the native entry reads it. */
function configurationObject(config, formatter) {
  return {
    ...config,
    unknownFrames: bytesOf(config.unknownFrames),
    ...startOf(config.createdAt, formatter),
  };
}

const BYTE = [0, 255];
const WORD = [0, 65_535];
const LONG = [-2_147_483_648, 2_147_483_647];
const UNKNOWN_DEVICE = 4_294_967_295;

/** Text that the native entry would cut to its place in the header is refused here. */
class TextWriter {
  constructor(path) {
    this.path = path;
    this.entries = [];
  }

  add(key, fields) {
    for (const [name, value, [least, most]] of fields) {
      if (!Number.isInteger(value) || value < least || value > most) {
        this.refuse(`${name} is ${value}, not a whole number from ${least} to ${most}`);
      }
    }
    this.entries.push([key, ...fields.map(([, value]) => value)].join(','));
  }

  refuse(sentence) {
    const message = `${this.path} cannot be written from this configuration: ${sentence}`;
    throw new VortenaError(message, { code: 'ERR_CONFIG_TEXT', path: this.path, stage: 'write' });
  }
}

/** A device that is not known is as good as none. */
function addDevice(writer, { deviceId = UNKNOWN_DEVICE, deviceType = -1, bodyLocation = -1 }) {
  if (deviceId !== UNKNOWN_DEVICE || deviceType >= 0 || bodyLocation >= 0) {
    if (!Number.isInteger(deviceId) || deviceId < LONG[0] || deviceId > UNKNOWN_DEVICE) {
      writer.refuse(`deviceId is ${deviceId}, not a whole number of 32 bits`);
    }
    writer.add('device', [
      ['deviceId', deviceId | 0, LONG],
      ['deviceType', deviceType, BYTE],
      ['bodyLocation', bodyLocation, BYTE],
    ]);
  }
}

function addSensor(writer, key, sensor) {
  if (sensor && sensor.present !== false) {
    const { frequency, range, offsetX = 0, offsetY = 0, offsetZ = 0, gainX = 1, gainY = 1, gainZ = 1 } = sensor;
    const calibration = Object.entries({ offsetX, offsetY, offsetZ, gainX, gainY, gainZ });
    writer.add(key, [
      [`${key}.frequency`, frequency, BYTE],
      [`${key}.range`, range, BYTE],
      ...calibration.map(([name, value]) => [`${key}.${name}`, value, LONG]),
    ]);
  }
}

function addUnit(writer, { version, majorVersion, minorVersion, radioMode, radioChannel }) {
  const versions = { version, majorVersion, minorVersion };
  if (Object.values(versions).some((value) => value !== undefined)) {
    writer.add(
      'firmware',
      Object.entries(versions).map(([name, value = 0]) => [name, value, WORD]),
    );
  }
  if (radioMode !== undefined || radioChannel !== undefined) {
    writer.add('radio', [
      ['radioMode', radioMode ?? 0, BYTE],
      ['radioChannel', radioChannel ?? 0, BYTE],
    ]);
  }
}

/** The configuration text of an object; `path` is for messages. Throws where a value has no place in a header. */
function configurationText(config, path) {
  const writer = new TextWriter(path);
  addDevice(writer, config);
  addUnit(writer, config);
  addSensor(writer, 'accel', config.accel);
  addSensor(writer, 'gyro', config.gyro);
  if (config.baro && config.baro.present !== false) {
    writer.add('baro', [['baro.frequency', config.baro.frequency, BYTE]]);
  }
  const { unknownFrames = '' } = config;
  const base64 = typeof unknownFrames === 'string' ? unknownFrames : Buffer.from(unknownFrames).toString('base64');
  return [...writer.entries, ...(base64 ? [`unknownFrames,${base64}`] : [])].join(':');
}

module.exports = { configurationObject, configurationText };
