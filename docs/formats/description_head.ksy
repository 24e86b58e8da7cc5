meta:
  id: description_head
  title: Head of a table's or an index's description
  endian: le
doc: |
  The first 72 bytes of the application-info block of a table and of each of its indexes. Explained in docs/formats.md.
seq:
  - id: last_update
    type: f8
    doc: a date; 0
  - id: table_name
    size: 31
    type: strz
    encoding: ISO-8859-1
    doc: in an index, the table that it belongs to
  - id: padding
    type: u1
  - id: unused_address
    type: u4
    doc: 0, not read
  - id: card_number
    type: u4
    doc: 0
  - id: type
    type: u4
    doc: the table's type code, 'DATA'
  - id: open_mode
    type: u4
    doc: 3
  - id: num_fields
    type: u4
    doc: of the table, the deletion mark included
  - id: num_indexes
    type: u4
    doc: of the table, when the block was written
  - id: wait_mark
    type: u4
    doc: in an index, 'WAIT' while entries of it are in memory only; any other value means nothing
  - id: unused_address2
    type: u4
    doc: 0, not read
instances:
  entries_wait:
    value: wait_mark == 0x57414954
