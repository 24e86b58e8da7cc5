"""Prints one entry point for every vendor function of a library that the command data names.
  generate_mocks.py DATA ./LIBRARY.so
"""
import re
import sys

TYPES = {'N': 'int', 'L': 'int', 'H': 'short*', 'Z': 'int*'}

for row in open(sys.argv[1], encoding='utf-8'):
    library, *columns = row.rstrip('\n').split('\t')
    if library != sys.argv[2]:
        continue
    words = [] if columns[0] == 'none' else columns[0].split()
    types = ['int*' if re.fullmatch(r'N\d+R', word) else TYPES.get(word[0], 'char*') for word in words]
    parameters = ', '.join(f'{each} a{i}' for i, each in enumerate(types))
    values = ''.join(f', a{i}' for i in range(len(types)))
    for command in re.findall(r'[^ \d]\S*', columns[2]):
        name, _, other = command.partition('=')
        # A command that borrows another command's function says less about its arguments than that one.
        if other.lower() in ('', name.lower()):
            function = other or name
            print(f'EXPORT int {function}({parameters}) {{ return called("{function}"{values}); }}')
