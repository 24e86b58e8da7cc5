meta:
  id: index_file
  title: Data file of an index
  endian: le
  imports:
    - file_header
    - data_file
    - index_description
doc: |
  A data file of type 'INDX': one entry for each record of a table, in the order of the keys. index_key.ksy takes a key
  apart. Explained in docs/formats.md.
seq:
  - id: header
    type: file_header
  - id: description
    size: header.app_info_len
    type: index_description
  - id: entries
    type: entry
    repeat: expr
    repeat-expr: header.number_of_records
  - id: unused
    size-eos: true
types:
  entry:
    seq:
      - id: header
        type: data_file::record_header
      - id: position
        type: s4
        doc: of the table's record, from 0
      - id: key
        size: _root.description.key_length
