"""Prints one entry point for every vendor function of a library that the command data names.
  generate_mocks.py DATA ./LIBRARY.so
"""
import re
import sys

OWN_VALUES = {'none': '', '0 R, 0 R, 0 R': 'N0R N0R N0R', 'six blanks R': 'S0R'}
TYPES = {'p': 'int*', 'i': 'int', 'h': 'short*', 's': 'char*'}

done = set()
for row in open(sys.argv[1], encoding='utf-8'):
    columns = row.rstrip('\n').split('\t')
    # A command that borrows another command's function says less about its arguments than that one.
    if len(columns) != 8 or columns[2] != sys.argv[2] or columns[1].lower() != columns[4].lower() or columns[4] in done:
        continue
    function, words = columns[4], OWN_VALUES.get(columns[5], columns[5]).split()
    done.add(function)
    kinds = ['p' if re.fullmatch(r'N\d+R', word) else {'N': 'i', 'L': 'i', 'H': 'h'}.get(word[0], 's') for word in words]
    parameters = ', '.join(f'{TYPES[kind]} a{i}' for i, kind in enumerate(kinds)) or 'void'
    values = ''.join(f', a{i}' for i in range(len(kinds)))
    print(f'EXPORT int {function}({parameters}) {{ return called("{function}", "{"".join(kinds)}"{values}); }}')
