meta:
  id: catalog
  title: Catalogue of a directory of databases
  endian: le
  imports:
    - file_header
doc: |
  catalog.plm: one entry a database; catalog.bck is a copy of it. Explained in docs/formats.md.
seq:
  - id: header
    type: file_header
  - id: entries
    type: database_hdr
    size: 88
    repeat: expr
    repeat-expr: header.len_used / 88
  - id: unused
    size-eos: true
types:
  database_hdr:
    seq:
      - id: name
        size: 32
        type: strz
        encoding: ISO-8859-1
        doc: of the database and of its data file, at most 31 bytes; found without regard to case
      - id: attributes
        type: u2
      - id: version
        type: u2
      - id: creation_date
        type: system_time
      - id: modification_date
        type: system_time
        doc: the creation date; changes are not noted here
      - id: last_backup_date
        type: u4
      - id: modification_number
        type: u4
      - id: type
        type: u4
        enum: database_type
      - id: creator
        type: u4
        doc: a code of four characters, the first in the highest byte
      - id: unique_id_seed
        type: u4
        doc: 0
    instances:
      first_four:
        pos: 0
        type: u4
      is_free:
        value: first_four == 0
  system_time:
    doc: local time of the workstation
    seq:
      - id: w_year
        type: u2
      - id: w_month
        type: u2
      - id: w_day_of_week
        type: u2
        doc: 0 is Sunday
      - id: w_day
        type: u2
      - id: w_hour
        type: u2
      - id: w_minute
        type: u2
      - id: w_second
        type: u2
      - id: w_milliseconds
        type: u2
        doc: 0
enums:
  database_type:
    0x44415441: data
    0x4d454d4f: memo
    0x494e4458: indx
