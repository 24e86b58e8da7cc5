meta:
  id: data_file
  title: Data file of a database
  endian: le
  imports:
    - file_header
doc: |
  One database: a block for the application and the records. In a database of kind 'V' the records form a chain, each
  header saying where the next one begins; in the others all records have the length of the first. Explained in
  docs/formats.md.
seq:
  - id: header
    type: file_header
  - id: app_info
    size: header.app_info_len
  - id: body
    size: header.len_used - header.app_info_len
    if: header.len_used > header.app_info_len
    type:
      switch-on: header.type
      cases:
        'file_header::database_kind::variable': record_chain
        _: equal_records
  - id: unused
    size-eos: true
types:
  record_chain:
    seq:
      - id: records
        type: record
        repeat: eos
  equal_records:
    seq:
      - id: records
        type: record
        size: first_header.record_len + 8
        repeat: expr
        repeat-expr: _root.header.number_of_records
    instances:
      first_header:
        pos: 0
        type: record_header
  record:
    seq:
      - id: header
        type: record_header
      - id: data
        size: header.record_len
      - id: spare
        size: header.allocated_space - header.record_len
  record_header:
    seq:
      - id: record_len
        type: u2
        doc: bytes in use
      - id: allocated_space
        type: u2
        doc: bytes reserved, at least record_len; the next header follows them
      - id: record_attr
        type: u2
      - id: marca1
        type: u1
        doc: 0xff once the record counts, 0 before; marca2 too
      - id: marca2
        type: u1
    instances:
      dirty:
        value: (record_attr & 0x40) != 0
        doc: released as changed
      busy:
        value: (record_attr & 0x20) != 0
        doc: taken for editing
      counts:
        value: marca1 == 0xff and marca2 == 0xff
