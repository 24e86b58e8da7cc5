meta:
  id: offsets_file
  title: Offsets file of a database of kind 'V'
  endian: le
  imports:
    - file_header
doc: |
  Where each record of the data file begins. The database's name and "_OS" are its name. It can always be made anew from
  the chain of records. Explained in docs/formats.md.
seq:
  - id: header
    type: file_header
  - id: offsets
    type: u4
    repeat: expr
    repeat-expr: header.len_used / 4
    doc: of the record's header, from the start of the data file
  - id: unused
    size-eos: true
