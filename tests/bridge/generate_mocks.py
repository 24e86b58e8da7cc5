"""Prints one entry point for every vendor function of a library that the command data names.
  generate_mocks.py DATA ./LIBRARY.so
"""
import re
import sys

TYPES = {'p': 'int*', 'i': 'int', 'h': 'short*', 's': 'char*'}
KINDS = {'N': 'i', 'L': 'i', 'H': 'h', 'Z': 'p'}

for row in open(sys.argv[1], encoding='utf-8'):
    library, *columns = row.rstrip('\n').split('\t')
    if library != sys.argv[2]:
        continue
    words = [] if columns[0] == 'none' else columns[0].split()
    kinds = ['p' if re.fullmatch(r'N\d+R', word) else KINDS.get(word[0], 's') for word in words]
    parameters = ', '.join(f'{TYPES[kind]} a{i}' for i, kind in enumerate(kinds)) or 'void'
    values = ''.join(f', a{i}' for i in range(len(kinds)))
    for command in re.findall(r'[^ \d]\S*', columns[2]):
        name, _, other = command.partition('=')
        # A command that borrows another command's function says less about its arguments than that one.
        if other.lower() in ('', name.lower()):
            function = other or name
            print(f'EXPORT int {function}({parameters}) {{ return called("{function}", "{"".join(kinds)}"{values}); }}')
