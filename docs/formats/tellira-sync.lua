-- Synchronisations in Wireshark and tshark. docs/sync.md explains what is shown.
--
--   tshark -X lua_script:docs/formats/tellira-sync.lua -d tcp.port==5555,tellira_sync -r session.pcap
--
-- In Wireshark: put this file into the folder of personal plugins (Help, About, Folders), and name the host's port under
-- Preferences, Protocols, TELLIRA_SYNC, or by Decode As. The end with that port is the host.

local sync = Proto("tellira_sync", "TELLIRA synchronisation")
sync.prefs.ports = Pref.range("Ports of the host", "5555,7000", "TCP ports on which hosts serve devices", 65535)

local LARGEST_FRAME = 12000
local LOGIN, FAREWELL, COUNT, FETCH, TABLE, IMAGES = 1, 2, 7, 8, 11, 32
local SENT_PACKET = 'packet'  -- a request with the code of TABLE and more behind it
local DONE, END_OF_TABLE, PACKET, HOST_ERROR = 13, 11, 12, 255
local KIND_PACKET, KIND_LAST, TYPE_FOLLOWS = 14, 17, 16
local FORM_STORED, FORM_COMPRESSED = 13, 14
local UPLOAD_KIND = 12

local requests = { [LOGIN] = "Login", [FAREWELL] = "Farewell", [COUNT] = "How many tasks", [FETCH] = "Fetch task",
                   [TABLE] = "Request table", [IMAGES] = "Request images" }
local statuses = { [DONE] = "Done", [END_OF_TABLE] = "End of table", [PACKET] = "Packet", [HOST_ERROR] = "Error" }
local kinds = { [0] = "Image", [UPLOAD_KIND] = "Packet to the host", [KIND_PACKET] = "Packet",
                [KIND_LAST] = "Nothing more" }
local tasks = { [1] = "Receive table", [2] = "Send table", [3] = "Delete table", [10] = "Install", [22] = "Install",
                [30] = "Nothing", [40] = "Receive images" }
local forms = { [FORM_STORED] = "Stored", [FORM_COMPRESSED] = "Compressed" }

local f = sync.fields
local function name_of(id) return "tellira_sync." .. id end
local function text(id, label) f[id] = ProtoField.string(name_of(id), label) end
local function short(id, label) f[id] = ProtoField.uint16(name_of(id), label) end
local function code(id, label, words) f[id] = ProtoField.uint8(name_of(id), label, base.DEC, words) end
local function bytes(id, label) f[id] = ProtoField.bytes(name_of(id), label) end
local function counted(n, words) return n .. " " .. words .. (n == 1 and "" or "s") end

text("summary", "Summary")
text("order", "Byte order")
short("length", "Length of the body")
code("request", "Request", requests)
code("status", "Status", statuses)
text("protocol", "Protocol")
text("device", "Device")
text("group", "Group")
code("processor", "Processor")
text("mode", "Mode (T: no tables yet, P: has some)")
text("version", "Version")
text("memory", "Memory report")
text("zlib", "Compression")
text("setbuffer", "Buffers")
text("client", "Version of the client")
text("rpc", "Remote calls")
text("server_type", "Type of the server")
code("pack_db", "Packs databases (250)")
text("count", "Number of tasks")
text("number", "Number of the task")
code("task", "Task", tasks)
code("flag", "Flag (16: a type instead of a name)")
text("name", "Name")
f.rows = ProtoField.uint32(name_of("rows"), "Records announced")
text("type", "Type (of a table T: whole, P: parts)")
code("kind", "Kind", kinds)
short("packet_length", "Length of the packet")
short("records", "Records")
short("inflated", "Size of the content")
code("form", "Form", forms)
bytes("data", "Data")
bytes("record", "Record")
f.deleted = ProtoField.bool(name_of("deleted"), "Marked as deleted")
bytes("memo", "Memo text")
short("size", "Size of the image")
bytes("image", "Image")
text("error", "The host's words")

local broken = ProtoExpert.new(name_of("broken"), "This is no frame of a synchronisation", expert.group.MALFORMED,
                               expert.severity.ERROR)
local short_frame = ProtoExpert.new(name_of("short"), "The frame ends before its parts do", expert.group.MALFORMED,
                                    expert.severity.ERROR)
local too_long = ProtoExpert.new(name_of("too_long"), "Longer than the 12000 bytes that a frame may have",
                                 expert.group.PROTOCOL, expert.severity.ERROR)
local refused = ProtoExpert.new(name_of("refused"), "The host refuses", expert.group.RESPONSE_CODE, expert.severity.WARN)
sync.experts = { broken, short_frame, too_long, refused }

local stream_of = Field.new("tcp.stream")

-- Takes the parts of a frame one behind the other; what is not there is told once and reads as 0 or the empty text.
local Reader = {}
Reader.__index = Reader
local function reader_of(range, tree) return setmetatable({ range = range, tree = tree, at = 0 }, Reader) end
function Reader:left() return self.range:len() - self.at end
function Reader:take(n)
  if n > self:left() then
    if not self.failed then self.tree:add_proto_expert_info(short_frame) end
    self.failed, self.at = true, self.range:len()
    return nil
  end
  self.at = self.at + n
  return self.range:range(self.at - n, n)
end
function Reader:byte(id)
  local part = self:take(1)
  if part and id then self.tree:add(f[id], part) end
  return part and part:uint() or 0
end
function Reader:letter(id)
  local part = self:take(1)
  if part then self.tree:add(f[id], part) end
  return part and part:string() or ""
end
function Reader:number(id, size, little)
  local part = self:take(size)
  if not part then return 0 end
  if little then self.tree:add_le(f[id], part) else self.tree:add(f[id], part) end
  return little and part:le_uint() or part:uint()
end
-- A text up to its zero.
function Reader:text(id)
  local length = 0
  while length < self:left() and self.range:range(self.at + length, 1):uint() ~= 0 do length = length + 1 end
  local part = self:take(length + 1)
  if not part then return "" end
  local value = part:range(0, length):string(ENC_ISO_8859_1)
  self.tree:add(f[id], part, value)
  return value
end
-- The rest of the frame, which may be nothing.
function Reader:rest(id)
  local n = self:left()
  local part = n > 0 and self:take(n) or nil
  if part then self.tree:add(f[id], part) end
  return part
end

-- ------------------------------------------------------------------------------------------------ what tables hold

-- A length and as many bytes, over and over. Each record has as many memo texts behind it as its table has memo fields;
-- that number is not on the line, but the parts are a multiple of the records.
local function add_content(content, records, tree)
  local parts, reader = {}, reader_of(content, tree)
  while reader:left() >= 2 do
    local length = reader:take(2):uint()
    if length > reader:left() then break end
    parts[#parts + 1] = length > 0 and reader:take(length) or false
  end
  if reader:left() ~= 0 or records == 0 or #parts % records ~= 0 then
    tree:add_proto_expert_info(short_frame, "The content is not made of its records")
    return
  end
  local each = #parts / records
  for i, part in ipairs(parts) do
    local is_record = (i - 1) % each == 0
    if part then
      local item = tree:add(is_record and f.record or f.memo, part)
      if is_record and part:len() >= 2 then
        local mark = part:range(part:len() - 2, 1)
        item:add(f.deleted, mark, mark:string() == "*")
      end
    end
  end
end

local function add_packet_data(reader, records, compressed, size)
  local data = reader:rest("data")
  if not data then return end
  local content = data
  if compressed then
    content = size > 0 and data:uncompress("Records") or nil
    if not content then
      reader.tree:add_proto_expert_info(short_frame, "The data cannot be inflated")
      return
    end
  end
  add_content(content, records, reader.tree)
end

-- -------------------------------------------------------------------------------------------------------- requests

local function add_login(reader)
  for _, id in ipairs({ "order", "protocol", "device", "group" }) do reader:text(id) end
  reader:byte("processor")
  reader:letter("mode")
  for _, id in ipairs({ "version", "memory", "zlib", "setbuffer", "client", "rpc" }) do reader:text(id) end
end

-- The packets that a device sends have the code of a request for a table, and more behind it.
local function add_sent_packet(reader)
  reader:byte("kind")
  reader:number("packet_length", 2)
  local form = reader:byte("form")
  local size = reader:number("inflated", 2)
  local records = reader:number("records", 2)
  add_packet_data(reader, records, form == FORM_COMPRESSED, size)
  return "Packet, " .. counted(records, "record")
end

local function add_request(range, tree)
  local reader = reader_of(range, tree)
  reader:take(2)
  local asked = reader:byte("request")
  local info = requests[asked] or ("Unknown request " .. asked)
  if asked == LOGIN then
    add_login(reader)
  elseif asked == FETCH then
    info = info .. " " .. reader:text("number")
  elseif asked == TABLE and reader:left() > 0 then
    return SENT_PACKET, add_sent_packet(reader)
  end
  return asked, info
end

-- --------------------------------------------------------------------------------------------------------- replies

local function add_error(reader, kind_first)
  if kind_first then reader:byte("kind") end
  local words = reader:left() > 0 and reader:text("error") or ""
  reader.tree:add_proto_expert_info(refused)
  return "Error: " .. words
end

local function add_login_reply(reader)
  local version = reader:text("version")
  reader:letter("server_type")
  reader:byte("pack_db")
  return "Welcome, version " .. version
end

local function add_task(reader, little)
  local task = reader:byte("task")
  local flag = reader:byte("flag")
  local info = tasks[task] or ("Unknown task " .. task)
  if flag == TYPE_FOLLOWS and (task == 10 or task == 22 or task == 40) then
    reader:letter("type")
    return info
  end
  info = info .. " " .. reader:text("name")
  if task ~= 1 then return info end
  local rows = reader:number("rows", 4, little)
  -- Hosts may leave the type out, which is then P.
  if reader:left() > 0 then reader:letter("type") end
  return info .. ", " .. counted(rows, "record")
end

local function add_received_packet(reader)
  reader:number("packet_length", 2)
  local records = reader:number("records", 2)
  local size = reader:number("inflated", 2)
  add_packet_data(reader, records, true, size)
  return "Packet, " .. counted(records, "record")
end

-- What comes for a table says by its first byte what it is.
local function add_table_reply(reader, status)
  if status == HOST_ERROR then return add_error(reader, true) end
  local kind = reader:byte("kind")
  if status == PACKET and kind == KIND_PACKET then return add_received_packet(reader) end
  return "End of table"
end

local function add_image(reader, little)
  if reader:byte("kind") == KIND_LAST then return "No more images" end
  local name = reader:text("name")
  local size = reader:number("size", 2, little)
  if size > reader:left() then
    reader.tree:add_proto_expert_info(short_frame, "The image has more bytes than the frame")
  elseif size > 0 then
    reader.tree:add(f.image, reader:take(size))
  end
  return "Image " .. name .. ", " .. counted(size, "byte")
end

local function add_reply(range, tree, context)
  local reader = reader_of(range, tree)
  if range:len() < 3 then
    tree:add_proto_expert_info(short_frame)
    return "A reply without a status"
  end
  reader:take(2)
  -- Some hosts give the number of tasks without a status.
  local is_count = context.asked == COUNT
  local is_digit = is_count and range:range(2, 1):uint() >= 0x30 and range:range(2, 1):uint() <= 0x39
  local status = is_digit and DONE or reader:byte("status")
  -- Of a session whose beginning was not captured, packets are known by themselves.
  local tells_itself = context.asked == nil and (status == PACKET or status == END_OF_TABLE)
  if context.asked == TABLE or tells_itself then return add_table_reply(reader, status) end
  if status ~= DONE then
    if context.asked == IMAGES and status < HOST_ERROR then return "No more images" end
    return add_error(reader, context.asked == IMAGES)
  end
  if context.asked == LOGIN then return add_login_reply(reader) end
  if is_count then return "Tasks: " .. reader:text("count") end
  if context.asked == FETCH then return add_task(reader, context.little) end
  if context.asked == IMAGES then return add_image(reader, context.little) end
  return context.asked == SENT_PACKET and "Packet taken" or "Reply"
end

-- ---------------------------------------------------------------------------------------------------------- frames

-- What a reply means depends on what was asked before it: the last request of each stream, and for each reply that was
-- seen already what that was then, since frames are looked at again in any order.
local asked_last, asked_before = {}, {}
function sync.init() asked_last, asked_before = {}, {} end

local function context_of(pinfo, tvb)
  local key = pinfo.number .. ":" .. tvb:offset()
  asked_before[key] = asked_before[key] or asked_last[stream_of().value] or {}
  return asked_before[key]
end

local function is_little(tvb, offset) return tvb:range(offset, 1):string() == "B" end
local function is_request(tvb, offset)
  local marker = tvb:range(offset, 1):string()
  return marker == "B" or marker == "L"
end

local is_first  -- of the frames that end in one packet

local function begin_frame(tvb, tree, direction)
  return tree:add(sync, tvb(), "TELLIRA synchronisation, " .. direction)
end

local function end_frame(pinfo, frame, length, info)
  if length > LARGEST_FRAME then frame:add_proto_expert_info(too_long) end
  frame:append_text(": " .. info)
  frame:add(f.summary, info):set_generated()
  pinfo.cols.protocol = "TELLIRA-SYNC"
  if is_first then
    pinfo.cols.info = info
  else
    pinfo.cols.info:append(" | " .. info)
  end
  is_first = false
end

local function dissect_request(tvb, pinfo, tree)
  local frame = begin_frame(tvb, tree, "device to host")
  if not is_request(tvb, 0) then
    frame:add_proto_expert_info(broken)
    end_frame(pinfo, frame, 0, "no frame")
    return tvb:len()
  end
  local little = is_little(tvb, 0)
  frame:add(f.order, tvb(0, 1))
  if little then frame:add_le(f.length, tvb(1, 2)) else frame:add(f.length, tvb(1, 2)) end
  if tvb:len() < 6 then
    frame:add_proto_expert_info(short_frame)
    end_frame(pinfo, frame, tvb:len() - 3, "a request of nothing")
    return tvb:len()
  end
  local asked, info = add_request(tvb(3), frame)
  if not pinfo.visited then asked_last[stream_of().value] = { asked = asked, little = little } end
  end_frame(pinfo, frame, tvb:len() - 3, info)
  return tvb:len()
end

local function dissect_reply(tvb, pinfo, tree)
  local frame = begin_frame(tvb, tree, "host to device")
  frame:add(f.length, tvb(0, 2))
  local info = "a reply of nothing"
  if tvb:len() > 2 then
    info = add_reply(tvb(2), frame, context_of(pinfo, tvb))
  else
    frame:add_proto_expert_info(short_frame)
  end
  end_frame(pinfo, frame, tvb:len() - 2, info)
  return tvb:len()
end

local function request_length(tvb, pinfo, offset)
  if not is_request(tvb, offset) then return tvb:len() - offset end
  local length = tvb(offset + 1, 2)
  return 3 + (is_little(tvb, offset) and length:le_uint() or length:uint())
end

local function reply_length(tvb, pinfo, offset) return 2 + tvb(offset, 2):uint() end

function sync.dissector(tvb, pinfo, tree)
  is_first = true
  if pinfo.src_port == pinfo.match_uint then
    dissect_tcp_pdus(tvb, tree, 2, reply_length, dissect_reply)
  else
    dissect_tcp_pdus(tvb, tree, 3, request_length, dissect_request)
  end
  return tvb:len()
end

local ports = DissectorTable.get("tcp.port")
local served
local function serve()
  if served == sync.prefs.ports then return end
  if served then ports:remove(served, sync) end
  served = sync.prefs.ports
  ports:add(served, sync)
end
sync.prefs_changed = serve
serve()
