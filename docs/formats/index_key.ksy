meta:
  id: index_key
  title: Key of an index entry
  imports:
    - table_description
    - index_description
doc: |
  The key bytes of an index entry, for which both descriptions must be at hand: one text a key field, padded to the
  field's length. Explained in docs/formats.md.
params:
  - id: table
    type: table_description
  - id: index
    type: index_description
seq:
  - id: parts
    type: part(table.fields[index.key_field_texts[_index].number - 1])
    repeat: expr
    repeat-expr: index.key_field_texts.size
types:
  part:
    params:
      - id: field
        type: table_description::field
    seq:
      - id: text
        size: 'field.type == table_description::field_type::logical ? 1 : field.length'
        type: str
        encoding: ISO-8859-1
        doc: |
          Texts with blanks behind them; numbers with the field's decimals and blanks before them; dates as year, month
          and day; a logical as the byte that the record has.
