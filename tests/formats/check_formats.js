// Makes a parser of each description in docs/formats and reads the sample databases with it.
//   node check_formats.js DESCRIPTIONS PARSERS DB EXPECTED
// PARSERS is a directory for the parsers; EXPECTED is what `sample_databases write` printed.
'use strict';
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const compiler = require('kaitai-struct-compiler');
const Stream = require('kaitai-struct/KaitaiStream');
const yaml = require('yaml');

const [descriptions, parsers, databases, expectedFile] = process.argv.slice(2);
const expected = JSON.parse(fs.readFileSync(expectedFile));

const description = (name) => yaml.parse(fs.readFileSync(path.join(descriptions, `${name}.ksy`), 'utf8'));
const importer = {importYaml: async (name) => description(name)};

async function makeParsers() {
  for (const file of fs.readdirSync(descriptions).filter((name) => name.endsWith('.ksy'))) {
    const made = await compiler.compile('javascript', description(path.basename(file, '.ksy')), importer, false);
    for (const [name, source] of Object.entries(made)) fs.writeFileSync(path.join(parsers, name), source);
  }
}

const bytesOf = (name) => fs.readFileSync(path.join(databases, name));
const hex = (bytes) => Buffer.from(bytes ?? []).toString('hex');

function parse(className, name) {
  const parser = require(path.resolve(parsers, className));
  return new (parser[className] ?? parser)(new Stream(bytesOf(name)));
}

// What the sizes in a header say about the file itself; a database that was never opened is a header alone.
function checkSizes(header, name, used, opened = true) {
  const size = bytesOf(name).length;
  assert.strictEqual(size, opened ? header.szallocated : 20, `${name}: size`);
  if (used !== undefined) assert.strictEqual(header.szmap, used, `${name}: szmap`);
  assert.ok(header.szmap <= size, `${name}: szmap`);
}

function checkEntry(entry, wanted) {
  if (wanted === null) {
    assert.ok(entry.isFree && entry.name === '', 'a deleted database leaves its entry free');
    return;
  }
  const {name, type, creator, attributes, version, backedUp, modification} = wanted;
  assert.deepStrictEqual(
      {name: entry.name, type: entry.type, creator: entry.creator, attributes: entry.attributes, version: entry.version,
       backedUp: entry.lastBackupDate, modification: entry.modificationNumber, seed: entry.uniqueIdSeed, free: entry.isFree},
      {name, type, creator, attributes, version, backedUp, modification, seed: 0, free: false});
  for (const date of [entry.creationDate, entry.modificationDate])
    assert.deepStrictEqual(
        [date.wYear, date.wMonth, date.wDayOfWeek, date.wDay, date.wHour, date.wMinute, date.wSecond, date.wMilliseconds],
        [2026, 11, 6, 21, 12, 0, 59, 0]);
}

function checkCatalog() {
  const catalog = parse('Catalog', 'catalog.plm');
  assert.strictEqual(catalog.entries.length, expected.length);
  catalog.entries.forEach((entry, i) => checkEntry(entry, expected[i]));
  checkSizes(catalog.header, 'catalog.plm', 20 + 88 * expected.length);
  assert.deepStrictEqual(bytesOf('catalog.bck'), bytesOf('catalog.plm'));
}

// Where each record begins, and behind the last one where the used bytes end.
function placesOf(database) {
  const places = [20 + database.appInfo.length / 2];
  for (const record of database.records) places.push(places.at(-1) + 8 + record.space);
  return places;
}

function checkData(database) {
  const data = parse('DataFile', database.name);
  const records = data.body?.records ?? [];
  assert.deepStrictEqual(
      [data.header.version, data.header.type, data.header.padding, data.header.numberOfRecords, hex(data.appInfo)],
      [2, database.kind, 0, database.records.length, database.appInfo], database.name);
  assert.deepStrictEqual(
      records.map(({header, data}) => ({data: hex(data), space: header.allocatedSpace, dirty: header.dirty})),
      database.records, database.name);
  assert.ok(records.every(({header}) => header.counts && !header.busy), database.name);
  // Where no record was ever made the end is not yet put behind the header.
  const used = database.records.length > 0 ? placesOf(database).at(-1) : undefined;
  checkSizes(data.header, database.name, used, database.opened);
}

function checkOffsets(database) {
  const name = `${database.name}_OS`;
  const places = placesOf(database).slice(0, -1);
  const {header, offsets} = parse('OffsetsFile', name);
  assert.deepStrictEqual(offsets, places, name);
  checkSizes(header, name, places.length > 0 ? 20 + 4 * places.length : undefined);
}

function check() {
  const files = ['catalog.plm', 'catalog.bck'];
  checkCatalog();
  for (const database of expected.filter((database) => database !== null)) {
    checkData(database);
    files.push(database.name);
    if (String.fromCharCode(database.kind) !== 'V' || !database.opened) continue;
    checkOffsets(database);
    files.push(`${database.name}_OS`);
  }
  assert.deepStrictEqual(fs.readdirSync(databases).sort(), files.sort(), 'nothing else is left in DB');
}

makeParsers().then(check).catch((error) => {
  console.error(error);
  process.exit(1);
});
