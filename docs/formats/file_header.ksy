meta:
  id: file_header
  title: Header of every file in DB
  endian: le
doc: |
  The first 20 bytes of the catalogue, of a data file and of an offsets file. Explained in docs/formats.md.
seq:
  - id: version
    type: u1
    doc: 2 in a data file, 0 in the other two
  - id: type
    type: u1
    enum: database_kind
    doc: of a data file; 0 in the other two
  - id: padding
    type: u2
  - id: app_info_len
    type: u4
    doc: bytes of the application-info block
  - id: number_of_records
    type: u4
    doc: records that count; kept in data files only
  - id: szallocated
    type: u4
    doc: size of the file; 0 in a data file that was never opened
  - id: szmap
    type: u4
    doc: end of what is used; below 20 nothing is
instances:
  len_used:
    value: 'szmap < 20 ? 0 : szmap - 20'
    doc: used bytes behind this header
enums:
  database_kind:
    0x42: index
    0x56: variable
    0x58: fixed
