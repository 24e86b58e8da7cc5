meta:
  id: memo_file
  title: Memo texts of a table
  endian: le
  imports:
    - file_header
    - data_file
doc: |
  A data file of type 'MEMO', named as the table and "_M". Record n (from 1) holds the text that the table's records call
  n. Explained in docs/formats.md.
seq:
  - id: header
    type: file_header
  - id: app_info
    size: header.app_info_len
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
        type: memo
      - id: spare
        size: header.allocated_space - header.record_len
  memo:
    seq:
      - id: text
        type: str
        size-eos: true
        terminator: 0
        encoding: ISO-8859-1
        doc: ends at its zero byte or with the record
