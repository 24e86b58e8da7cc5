meta:
  id: table_file
  title: Data file of a table
  endian: le
  imports:
    - file_header
    - data_file
    - table_description
doc: |
  A data file of type 'DATA' whose application-info block describes the fields of its records. Numbers, dates and memo
  references have their highest byte first. Explained in docs/formats.md.
seq:
  - id: header
    type: file_header
  - id: description
    size: header.app_info_len
    type: table_description
  - id: records
    size: 'header.len_used > header.app_info_len ? header.len_used - header.app_info_len : 0'
    type: record_chain
  - id: unused
    size-eos: true
types:
  record_chain:
    seq:
      - id: all
        type: record
        repeat: eos
  record:
    seq:
      - id: header
        type: data_file::record_header
      - id: data
        size: header.record_len
        type: record_data
      - id: spare
        size: header.allocated_space - header.record_len
  record_data:
    seq:
      - id: values
        type: field_value(_root.description.fields[_index].type)
        repeat: expr
        repeat-expr: _root.description.fields.size - 1
      - id: behind_fields
        size: _io.size - _io.pos - 2
        type: left_over
        doc: what a record keeps when its texts become shorter
      - id: mark
        type: u1
      - id: zero
        type: u1
    instances:
      was_growing:
        value: mark == 0 and zero == 0 and behind_fields.size > 0
        doc: made longer by a process that died before it wrote the fields
      is_deleted:
        value: '(was_growing ? behind_fields.bytes.last : mark) == 0x2a'
        doc: marked by a star; live records have an exclamation mark
  left_over:
    seq:
      - id: bytes
        type: u1
        repeat: until
        repeat-until: _ != 0 or _io.eof
        if: not _io.eof
        doc: up to the first that is not zero
    instances:
      size:
        value: _io.size
  field_value:
    params:
      - id: type
        type: s4
        enum: table_description::field_type
    seq:
      - id: value
        type:
          switch-on: type
          cases:
            'table_description::field_type::number': number
            'table_description::field_type::date': number
            'table_description::field_type::text': text
            'table_description::field_type::logical': logical
            'table_description::field_type::memo': memo
        doc: fields of the other types cannot be stored
  number:
    doc: dates count days from 30 December 1899, 0 is the empty date
    seq:
      - id: value
        type: f8be
  text:
    seq:
      - id: value
        type: strz
        encoding: ISO-8859-1
        doc: without trailing blanks
  logical:
    seq:
      - id: byte
        type: u1
    instances:
      value:
        value: byte != 0
  memo:
    seq:
      - id: value
        type: u4be
        doc: number of a record of the memo file, from 1; 0 without a text
