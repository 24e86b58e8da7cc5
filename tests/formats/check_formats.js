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

function parseBytes(className, bytes, ...parameters) {
  const parser = require(path.resolve(parsers, className));
  return new (parser[className] ?? parser)(new Stream(bytes), null, null, ...parameters);
}
const parse = (className, name) => parseBytes(className, bytesOf(name));

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
  const {name, type, creator = 0, attributes = 0, version = 0, backedUp = 0, modification = 0} = wanted;
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
function placesOf({header, body}) {
  const places = [20 + header.appInfoLen];
  for (const record of body?.records ?? []) places.push(places.at(-1) + 8 + record.header.allocatedSpace);
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
  const used = database.records.length > 0 ? placesOf(data).at(-1) : undefined;
  checkSizes(data.header, database.name, used, database.opened);
}

function checkOffsets(database) {
  const name = `${database.name}_OS`;
  const places = placesOf(parse('DataFile', database.name)).slice(0, -1);
  const {header, offsets} = parse('OffsetsFile', name);
  assert.deepStrictEqual(offsets, places, name);
  checkSizes(header, name, places.length > 0 ? 20 + 4 * places.length : undefined);
}

// Head and spare bytes of a description of the sample table or of one of its indexes.
function checkDescription({head, spare}, entriesWait) {
  const {tableName, type, numFields, openMode, lastUpdate, cardNumber} = head;
  assert.deepStrictEqual(
      [tableName, type, numFields, openMode, lastUpdate, cardNumber, head.entriesWait, hex(spare)],
      ['CLIENTES', 0x44415441, 6, 3, 0, 0, entriesWait, '00000000']);
}

function checkTable({name, fields, rows}) {
  const {description, records} = parse('TableFile', name);
  checkDescription(description, false);
  assert.strictEqual(description.name, name);
  assert.deepStrictEqual(description.fields.map((field) => [field.name, field.type, field.length, field.decimals]), fields);
  assert.deepStrictEqual(
      records.all.map(({data}) => ({values: data.values.map(({value}) => value.value), behind: data.behindFields.size,
                                    deleted: data.isDeleted, growing: data.wasGrowing})), rows);
}

function checkMemo({name, texts}) {
  assert.deepStrictEqual(parse('MemoFile', name).records.all.map(({data}) => data.text), texts);
}

function checkIndex({name, keyFields, keyLength, entries}) {
  const {description, ...index} = parse('IndexFile', name);
  const table = parse('TableFile', 'CLIENTES').description;
  checkDescription(description, false);
  assert.deepStrictEqual([description.name, description.keyLength, description.keyFieldTexts.map(({number}) => number)],
                         [name, keyLength, keyFields]);
  const partsOf = (key) => parseBytes('IndexKey', key, table, description).parts.map(({text}) => text);
  assert.deepStrictEqual(index.entries.map(({position, key}) => [position, ...partsOf(key)]), entries);
}

const shapes = {table: checkTable, memo: checkMemo, index: checkIndex};

function check() {
  const files = ['catalog.plm', 'catalog.bck', 'journal.spare'];
  checkCatalog();
  for (const database of expected.filter((database) => database !== null)) {
    (shapes[database.shape] ?? checkData)(database);
    files.push(database.name);
    if (String.fromCharCode(database.kind) !== 'V' || database.opened === false) continue;
    checkOffsets(database);
    files.push(`${database.name}_OS`);
  }
  checkDescription(parse('IndexFile', '../waiting_index').description, true);
  assert.deepStrictEqual(fs.readdirSync(databases).sort(), files.sort(), 'nothing else is left in DB');
}

makeParsers().then(check).catch((error) => {
  console.error(error);
  process.exit(1);
});
