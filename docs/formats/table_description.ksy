meta:
  id: table_description
  title: Application-info block of a table
  endian: le
  imports:
    - description_head
doc: |
  Name and fields of a table; numbers are decimal texts. Explained in docs/formats.md.
seq:
  - id: head
    type: description_head
  - id: name
    type: strz
    encoding: ISO-8859-1
  - id: num_fields_text
    type: strz
    encoding: ASCII
  - id: num_indexes_text
    type: strz
    encoding: ASCII
    doc: when the block was written; which indexes the table has is said by their own blocks
  - id: fields
    type: field
    repeat: expr
    repeat-expr: num_fields_text.to_i
    doc: the last one is the deletion mark
  - id: spare
    size-eos: true
    doc: 4 zero bytes
types:
  field:
    seq:
      - id: name
        type: strz
        encoding: ISO-8859-1
        doc: at most 20 bytes
      - id: type_text
        type: strz
        encoding: ASCII
      - id: length_text
        type: strz
        encoding: ASCII
      - id: decimals_text
        type: strz
        encoding: ASCII
    instances:
      type:
        value: type_text.to_i
        enum: field_type
      length:
        value: length_text.to_i
        doc: characters; 8 for dates, 4 for memos
      decimals:
        value: decimals_text.to_i
enums:
  field_type:
    0: number
    1: date
    2: text
    3: logical
    4: memo
    5: integer
    6: binary
