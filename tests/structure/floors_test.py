#!/usr/bin/env python3
"""The floors of src, tools and devices: fails when a file includes or calls what stands above it, or when files call each
other in a circle.

  floors_test.py ROOT [BUILD]      the tree; a directory where it was built, to read the calls from the objects

A call goes from the file whose code or data refers to a symbol to the file that defines it. x.h and x.cpp are one file.
Inline functions and templates count for the header in which they stand; those of other libraries, made for types of ours, for
the file that needs them.
"""
import json
import re
import shlex
import subprocess
import sys
from collections import defaultdict, namedtuple
from pathlib import Path

# A folder, and what its files may include or call: beginnings of paths, after src, tools, tools/tellira or devices. "[^/]*$"
# leaves the folders of a folder out. What tools and devices call of src is a matter of what they include.
VENDOR = 'generated/|adapters/native$'
BELOW_STORAGE = 'runtime/|builtins/|storage/[^/]*$|storage/format/'
FLOORS = {
    'src': 'runtime/|log/|builtins/|storage/|adapters/|generated/|screen/|bridge/|sync/',
    'src/runtime': 'runtime/',
    'src/log': 'log/|runtime/',
    'src/screen': 'screen/|runtime/',
    'src/builtins': 'builtins/|runtime/',
    'src/adapters': 'adapters/|runtime/|builtins/',
    'src/generated': 'generated/|runtime/|builtins/|adapters/',
    'src/bridge': 'bridge/|runtime/|log/|builtins/|adapters/|generated/|screen/',
    'src/storage': 'runtime/|builtins/|storage/[^/]*$',
    'src/storage/format': BELOW_STORAGE,
    'src/storage/files': BELOW_STORAGE + '|storage/files/',
    'src/storage/journal': BELOW_STORAGE + '|storage/(files|journal)/',
    'src/storage/records': BELOW_STORAGE + '|storage/(files|journal|records)/',
    'src/storage/databases': BELOW_STORAGE + '|storage/(files|journal|records|databases)/',
    'src/storage/tables': BELOW_STORAGE + '|storage/(files|journal|records|databases|tables)/',
    'src/storage/reading': BELOW_STORAGE + '|storage/(files|reading)/',
    'src/storage/repair': BELOW_STORAGE + '|storage/(files|journal|repair)/',
    'src/sync': 'sync/|runtime/|builtins/|log/|screen/|storage/[^/]*$|'
                'storage/(format|files|journal|records|databases|tables)/',
    'tools/text': 'text/',
    'tools/vornetab': 'vornetab/|text/|storage/reading/table_reader$',
    'tools/tellira': 'text/|edge/|library/|sale/|db/|sync/',
    'tools/tellira/edge': 'text/|edge/|storage/(disk_layout|format/names)$',
    'tools/tellira/library': 'text/|edge/|library/|' + VENDOR,
    'tools/tellira/sale': 'text/|edge/|library/|sale/|generated/',
    'tools/tellira/db': 'text/|edge/|db/|vornetab/|runtime/process$|storage/(disk_layout|tables)$|'
                        'storage/format/(description|keys|names|record_bytes)$|storage/files/kept_copies$|'
                        'storage/(repair/(directory_check|report|in_use|describe_table)|reading/(dictionary|table_reader))$|'
                        'storage/tables/(areas|bulk_load)$',
    'tools/tellira/sync': 'text/|edge/|db/(options|table_session)$|sync/|log/|screen/|runtime/vorneobjs$|storage/format/names$',
    'tools/synchost': 'synchost/|text/|edge/|db/(field_definitions|field_values)$|runtime/cursor$|'
                      'sync/(wire|compression|table_making)$|'
                      'storage/(disk_layout|tables)$|storage/format/(description|keys|names|record_bytes)$',
    'devices/common': 'common/|' + VENDOR,
    'devices/printer': 'printer/|common/|' + VENDOR,
    'devices/tef': 'tef/|common/|' + VENDOR,
}
ROOTS = ['src', 'tools/tellira', 'tools', 'devices']
FEWEST_FILES = 100

Symbol = namedtuple('Symbol', 'value size kind binding section name')


def read_objects(paths):
    """Yields of each object: its path, its symbols, and its references (place: section and offset; name)."""
    text = subprocess.run(['readelf', '--wide', '--demangle', '--section-headers', '--symbols', '--relocs', *paths],
                          check=True, capture_output=True, text=True, env={'LC_ALL': 'C'}).stdout
    parts = re.split(r'^File: (.*)$', text, flags=re.M)[1:] if len(paths) > 1 else [paths[0], text]
    for path, part in zip(parts[::2], parts[1::2]):
        targets, symbols, references, section = {}, [], [], None
        for line in part.splitlines():
            if found := re.match(r' +\[ *\d+\] \.rela?\S* +RELA? +\w+ (\w+) \w+ \w+ +\S+ +\d+ +(\d+)', line):
                targets[int(found[1], 16)] = int(found[2])
            elif found := re.match(r"Relocation section '.*' at offset 0x(\w+)", line):
                section = targets[int(found[1], 16)]
            elif found := re.match(r'([0-9a-f]{8,}) +\w+ +R_\w+ +\w+ +(.*?)( [+-] \w+)?$', line):
                references.append((section, int(found[1], 16), found[2]))
            elif found := re.match(r' *\d+: (\w+) +(\w+) (\w+) +(\w+) +\w+ +(\d+) (.+)', line):
                symbols.append(Symbol(int(found[1], 16), int(found[2], 0), found[3], found[4], int(found[5]), found[6]))
        yield path, symbols, references


def unit(path):
    """The file without its ending: what x.h and x.cpp have in common."""
    return str(Path(path).with_suffix(''))


def below_root(path):
    """The path as include lines write it."""
    return next(path[len(root) + 1:] for root in ROOTS if path.startswith(root + '/'))


def read_includes(root):
    """Of each of the tree's files: the files of the tree that it includes."""
    files = {str(path.relative_to(root)): path for top in ('src', 'tools', 'devices') for path in (root / top).rglob('*')
             if path.suffix in ('.c', '.h', '.cpp', '.def')}
    includes = {}
    for name, path in files.items():
        written = re.findall(r'^\s*#\s*include\s*[<"]([^>"]*)', path.read_text(encoding='utf-8'), flags=re.M)
        places = ([f'{place}/{line}' for place in (Path(name).parent, *ROOTS)] for line in written)
        found = [next((place for place in each if place in files), None) for each in places]
        includes[name] = {place for place in found if place} | {line for line in written if '../' in line}
    return includes


def reached(includes, name):
    """The file and what it includes, directly or not."""
    seen = [name]
    for here in seen:
        seen += [other for other in includes.get(here, ()) if other not in seen]
    return set(seen)


def inline_definitions(root, headers):
    """Name of a class or of a function with a body: the headers in which it stands."""
    homes = defaultdict(set)
    for header in headers:
        text = re.sub(r'//.*', '', (root / header).read_text(encoding='utf-8'))
        names = re.findall(r'\b(?:class|struct|union)\s+(?:\[\[\w+\]\]\s*)?(\w+)[^;(){}=]*\{', text)
        names += re.findall(r'\b(\w+)\s*\([^;{}]*\)[^;{}()]*\{', text)
        names += re.findall(r'\binline\s[^;(){}]*?\b(\w+)\s*[={;]', text)
        for name in names:
            homes[name].add(header)
    return homes


def components(name):
    """The names that a demangled one consists of, without arguments: its scopes, then its own."""
    name = re.sub(r'^[\w ]+ for ', '', name)
    while (shorter := re.sub(r'<[^<>]*>', '', name)) != name:
        name = shorter
    return [re.sub(r'\W', '', part.split()[-1]) for part in name.split('(')[0].split('::') if part.strip()]


def home_of(name, inline, seen):
    """The header of an inline symbol among those that an object has seen; nothing when it is none of ours."""
    parts = components(name)
    if parts and parts[0] not in ('std', '__gnu_cxx', 'CLI', 'nlohmann'):
        for part in parts:
            for header in sorted(inline[part] & seen):
                return unit(header)
    return None


def read_calls(root, build, includes):
    """(from, to): a function and what it refers to, of every pair of files; and the number of files read."""
    places = {}
    for row in json.loads((build / 'compile_commands.json').read_text(encoding='utf-8')):
        source = Path(row['file'])
        if source.is_relative_to(root) and source.relative_to(root).parts[0] in ('src', 'tools', 'devices'):
            words = shlex.split(row['command'])
            places[str(Path(row['directory']) / words[words.index('-o') + 1])] = str(source.relative_to(root))
    if missing := [path for path in places if not Path(path).exists()]:
        sys.exit(f'not built: {" ".join(missing)}')
    inline = inline_definitions(root, [name for name in includes if name.endswith('.h')])
    objects = [(unit(places[path]), reached(includes, places[path]), symbols, references)
               for path, symbols, references in read_objects(sorted(places))]

    defined = {symbol.name: place for place, _, symbols, _ in objects for symbol in symbols if symbol.binding == 'GLOBAL'}
    calls = {}
    for place, seen, symbols, references in objects:
        weak = {symbol.name for symbol in symbols if symbol.binding in ('WEAK', 'UNIQUE')}
        spans = defaultdict(list)
        for symbol in symbols:
            if symbol.kind in ('FUNC', 'OBJECT'):
                spans[symbol.section].append(symbol)
        for section, offset, name in references:
            holder = next((s for s in spans[section] if s.value <= offset < s.value + s.size), None)
            begin = holder and holder.name in weak and home_of(holder.name, inline, seen) or place
            end = home_of(name, inline, seen) if name in weak else defined.get(name)
            if end not in (None, begin):
                calls.setdefault((begin, end), (holder.name if holder else 'data', name))
    return calls, len(set(places.values()))


def circles(calls):
    """The sets of files that reach each other."""
    beyond = defaultdict(set)
    for begin, end in calls:
        beyond[begin].add(end)
    for middle in list(beyond):
        for reached_here in beyond.values():
            if middle in reached_here:
                reached_here |= beyond[middle]
    return sorted({tuple(sorted(o for o in beyond[file] if file in beyond.get(o, ()))) for file in beyond if file in beyond[file]})


def may(begin, end):
    """Whether a file may include or call another one, both given without their endings."""
    return re.match(FLOORS.get(str(Path(begin).parent), 'no row$'), below_root(end)) is not None


def wrong_includes(includes):
    for name, others in sorted(includes.items()):
        for other in sorted(others):
            if '../' in other:
                yield [name], 'leaves its folder by ".."'
            elif not may(unit(name), unit(other)):
                yield [name], f'may not include {other}'


def wrong_calls(calls):
    """Circles, and calls up the floors."""
    def told(pairs):
        return ''.join(f'\n    {b} > {e}: {calls[b, e][0]} -> {calls[b, e][1]}' for b, e in sorted(pairs))
    for circle in circles(calls):
        yield circle, f'{len(circle)} files call each other in a circle:' + told(p for p in calls if set(p) <= set(circle))
    for begin, end in sorted(calls):
        if (begin.startswith('src/') or not end.startswith('src/')) and not may(begin, end):
            yield [begin], 'calls up the floors:' + told([(begin, end)])


def seeded(calls):
    """A call up the floors that closes a circle must be found twice: else this test could not fail."""
    begin, end = 'src/storage/format/chain', 'src/storage/tables/seek'
    more = {**calls, (begin, end): ('seeded', 'there'), (end, begin): ('seeded', 'back')}
    if sum('seeded' in what for _, what in wrong_calls(more)) < 2:
        yield ['tests/structure'], 'a seeded call is not found'


def main():
    root = Path(sys.argv[1]).resolve()
    includes = read_includes(root)
    wrong, files = list(wrong_includes(includes)), len(includes)
    if len(sys.argv) > 2:
        calls, files = read_calls(root, Path(sys.argv[2]).resolve(), includes)
        wrong += [*wrong_calls(calls), *seeded(calls)]
    if files < FEWEST_FILES:
        wrong.append(([str(root)], f'only {files} files: the wrong tree, or not built?'))
    for files, what in wrong:
        print(*files, what)
    sys.exit(1 if wrong else 0)


main()
