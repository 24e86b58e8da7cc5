// Makes a parser of each description in docs/formats, reads the sample databases with it and prints all that it finds.
//   node check_formats.js DESCRIPTIONS PARSERS DIRECTORY
// PARSERS is a directory for the parsers; DIRECTORY is what `sample_databases` filled.
'use strict';
const fs = require('node:fs');
const path = require('node:path');
const compiler = require('kaitai-struct-compiler');
const Stream = require('kaitai-struct/KaitaiStream');
const yaml = require('yaml');

const [descriptions, parsers, directory] = process.argv.slice(2);

const description = (name) => yaml.parse(fs.readFileSync(path.join(descriptions, `${name}.ksy`), 'utf8'));
const importer = {importYaml: async (name) => description(name)};

async function makeParsers() {
  for (const file of fs.readdirSync(descriptions).filter((name) => name.endsWith('.ksy'))) {
    const made = await compiler.compile('javascript', description(path.basename(file, '.ksy')), importer, false);
    for (const [name, source] of Object.entries(made)) fs.writeFileSync(path.join(parsers, name), source);
  }
}

function parse(className, bytes, ...parameters) {
  const parser = require(path.resolve(parsers, className));
  return new (parser[className] ?? parser)(new Stream(bytes), null, null, ...parameters);
}

// Few bytes as they are; of many the first ones and their number tell that they are the right ones.
function shown(bytes) {
  const first = Buffer.from(bytes).toString('hex', 0, 32);
  return bytes.length <= 32 ? first : `${first}... ${bytes.length} bytes`;
}

// Everything that a parsed object has, its computed members too.
function found(value) {
  if (value instanceof Uint8Array) return shown(value);
  if (Array.isArray(value)) return value.map(found);
  if (value === null || typeof value !== 'object') return value;
  const computed = Object.entries(Object.getOwnPropertyDescriptors(Object.getPrototypeOf(value)));
  const names = [...Object.keys(value), ...computed.filter(([, member]) => member.get).map(([name]) => name)];
  return Object.fromEntries(names.filter((name) => !name.startsWith('_')).map((name) => [name, found(value[name])]));
}

function foundInIndex(bytes, table) {
  const index = parse('IndexFile', bytes);
  const keys = index.entries.map(({key}) => parse('IndexKey', key, table, index.description).parts.map(({text}) => text));
  return {...found(index), keys};
}

function main() {
  const read = (name) => fs.readFileSync(path.join(directory, name));
  const table = parse('TableFile', read('DB/CLIENTES'));
  const files = {'DB/catalog.plm': found(parse('Catalog', read('DB/catalog.plm'))), 'CLIENTES as a table': found(table)};
  files['CLIENTES_M as texts'] = found(parse('MemoFile', read('DB/CLIENTES_M')));
  for (const name of fs.readdirSync(path.join(directory, 'DB')).sort().filter((name) => !/^(catalog|journal)\./.test(name)))
    files[`DB/${name}`] = found(parse(name.endsWith('_OS') ? 'OffsetsFile' : 'DataFile', read(`DB/${name}`)));
  for (const name of ['DB/BYNAME', 'DB/BYDAY', 'waiting_index'])
    files[`${name} as an index`] = foundInIndex(read(name), table.description);
  console.log(JSON.stringify(files, null, 1));
}

makeParsers().then(main).catch((error) => {
  console.error(error);
  process.exit(1);
});
