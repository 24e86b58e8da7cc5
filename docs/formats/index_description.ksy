meta:
  id: index_description
  title: Application-info block of an index
  endian: le
  imports:
    - description_head
doc: |
  Which fields make the keys of an index; numbers are decimal texts. Explained in docs/formats.md.
seq:
  - id: head
    type: description_head
  - id: name
    type: strz
    encoding: ISO-8859-1
  - id: num_key_fields_text
    type: strz
    encoding: ASCII
  - id: key_length_text
    type: strz
    encoding: ASCII
  - id: key_field_texts
    type: key_field_text
    repeat: expr
    repeat-expr: num_key_fields_text.to_i
  - id: spare
    size-eos: true
    doc: 4 zero bytes
instances:
  key_length:
    value: key_length_text.to_i
    doc: bytes of a whole key
types:
  key_field_text:
    seq:
      - id: text
        type: strz
        encoding: ASCII
    instances:
      number:
        value: text.to_i
        doc: of a field of the table, from 1
