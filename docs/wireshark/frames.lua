-- The frames of the camera module in Wireshark: fields and layouts as messages.json has them, checksums. Loaded
-- by camera_module.lua with the folder of both.

local HEADER, OVERHEAD = 6, 8

local function load_messages(folder)
  local parse = dofile(folder .. "json.lua")
  for _, path in ipairs({ folder .. "messages.json", folder .. "../messages.json" }) do
    local file = io.open(path, "rb")
    if file then
      local text = file:read("*a")
      file:close()
      return (parse(text, 1))
    end
  end
  error("camera_module.lua: messages.json is neither in " .. folder .. " nor above it")
end

local folder = ...
local description = load_messages(folder)

-- Fields -----------------------------------------------------------------------------------------------

local camera = Proto("camera_module", "Camera module")
camera.prefs.address = Pref.string("Address of the camera", "192.168.31.1", "tells the directions apart")

local own = {
  start = ProtoField.uint8("camera_module.start", "Start", base.HEX),
  length = ProtoField.uint8("camera_module.length", "Payload length"),
  sequence = ProtoField.uint8("camera_module.sequence", "Sequence number"),
  system_id = ProtoField.uint8("camera_module.system_id", "System id"),
  component_id = ProtoField.uint8("camera_module.component_id", "Component id"),
  message_id = ProtoField.uint8("camera_module.message_id", "Message id"),
  checksum = ProtoField.uint16("camera_module.checksum", "Checksum", base.HEX),
  checksum_good = ProtoField.bool("camera_module.checksum_good", "Checksum is right"),
  direction = ProtoField.string("camera_module.direction", "Direction"),
  layout = ProtoField.string("camera_module.layout", "Layout"),
  more = ProtoField.bytes("camera_module.more", "Bytes that are not read"),
  channel = ProtoField.uint8("camera_module.channel", "Channel"),
  data = ProtoField.bytes("camera_module.data", "Data"),
  stamp = ProtoField.uint32("camera_module.stamp", "Stamp"),
  units = ProtoField.uint32("camera_module.h264_units", "H.264 units that begin here"),
}
local experts = {
  unknown = ProtoExpert.new("camera_module.unknown", "Unknown message", expert.group.UNDECODED, expert.severity.WARN),
  broken = ProtoExpert.new("camera_module.broken", "No whole frame", expert.group.MALFORMED, expert.severity.ERROR),
  checksum = ProtoExpert.new("camera_module.bad_checksum", "Wrong checksum", expert.group.CHECKSUM, expert.severity.ERROR),
}

local fields, messages, crc_extra = {}, {}, {}
for id, extra in pairs(description.other_crc_extra) do crc_extra[tonumber(id)] = extra end
for _, field in pairs(own) do fields[#fields + 1] = field end

-- A table of JSON has texts as keys.
local function numbered(values)
  if not values then return nil end
  local result = {}
  for number, text in pairs(values) do result[tonumber(number)] = text end
  return result
end

local function plain(name) return (name:gsub("[^%w]", "_")) end

local INTEGERS = { u8 = ProtoField.uint8, u16 = ProtoField.uint16, u32 = ProtoField.uint32, i32 = ProtoField.int32 }
local SIZES = { u8 = 1, u16 = 2, u32 = 4, i32 = 4, f32 = 4, u64 = 8, char = 1, bytes = 1 }

-- Makes the field's ProtoField; `whole` is the field that a group of bits belongs to.
local function make_field(layout, field, whole)
  local base_type = (whole or field).type:match("^%a+%d*")
  local abbreviation = "camera_module." .. plain(layout.layout) .. "." .. field.name
  field.texts = numbered(field.values and description.values[field.values])
  local make = INTEGERS[base_type]
  if make then
    local mask = whole and (2 ^ field.count - 1) * 2 ^ field.from or nil
    field.proto = make(abbreviation, field.name, base.DEC, field.texts, mask)
  elseif base_type == "f32" then
    field.proto = ProtoField.float(abbreviation, field.name)
  elseif base_type == "u64" then
    field.proto = ProtoField.uint64(abbreviation, field.name)
  elseif base_type == "char" then
    field.proto = ProtoField.stringz(abbreviation, field.name)
  else
    field.proto = ProtoField.bytes(abbreviation, field.name)
  end
  field.base_type = base_type
  field.size = SIZES[base_type]
  field.count_of = whole and 1 or tonumber(field.type:match("%[(%d+)%]") or 1)
  fields[#fields + 1] = field.proto
end

for _, message in ipairs(description.messages) do
  messages[message.id], crc_extra[message.id] = message, message.crc_extra
  for _, layout in ipairs(message.layouts) do
    layout.on = {}
    for _, link in ipairs(layout.links) do layout.on[link] = true end
    for _, field in ipairs(layout.fields) do
      make_field(layout, field)
      for _, part in ipairs(field.bits or {}) do make_field(layout, part, field) end
    end
  end
end
camera.fields = fields
camera.experts = { experts.unknown, experts.broken, experts.checksum }

-- Frames -----------------------------------------------------------------------------------------------

local xor = (bit32 or bit or {}).bxor or load("return function(a, b) return a ~ b end")()

local crc_table = {}
for byte = 0, 255 do
  local crc = byte
  for _ = 1, 8 do
    local odd = crc % 2 == 1
    crc = math.floor(crc / 2)
    if odd then crc = xor(crc, 0x8408) end
  end
  crc_table[byte] = crc
end

local function crc_step(crc, byte) return xor(math.floor(crc / 256), crc_table[xor(crc % 256, byte)]) end

-- CRC-16/MCRF4XX of the frame from behind its start byte on, and the extra byte.
local function frame_checksum(frame, extra)
  local bytes = frame:raw(1, HEADER - 1 + frame(1, 1):uint())
  local crc = 0xFFFF
  for i = 1, #bytes do crc = crc_step(crc, bytes:byte(i)) end
  return crc_step(crc, extra)
end

-- A number of the payload; bytes that it lacks read as zero.
local function value_at(payload, field)
  if not payload or field.offset + field.size > payload:len() then return 0 end
  local range = payload(field.offset, field.size)
  return field.base_type == "f32" and range:le_float() or range:le_uint()
end

local function matches(layout, payload, system_id)
  if layout.system_ids then
    local known = false
    for _, id in ipairs(layout.system_ids) do known = known or id == system_id end
    if not known then return false end
  end
  for _, field in ipairs(layout.fields) do
    local wanted = layout.match and layout.match[field.name]
    if wanted and value_at(payload, field) ~= wanted then return false end
  end
  return true
end

local function find_layout(message, payload, system_id, link, direction)
  for _, layout in ipairs(message.layouts) do
    if layout.on[link] and layout.direction == direction and matches(layout, payload, system_id) then return layout end
  end
  return nil
end

-- Adds a field to the tree. A float has no table of texts of its own.
local function add_field(tree, payload, field)
  for i = 0, (field.base_type == "f32" and field.count_of or 1) - 1 do
    local size = field.base_type == "f32" and field.size or field.size * field.count_of
    local offset = field.offset + i * size
    size = math.min(size, payload:len() - offset)
    if size < field.size then return end
    local item = tree:add_le(field.proto, payload(offset, size))
    if field.base_type == "f32" and field.texts then
      local text = field.texts[payload(offset, size):le_float()]
      if text then item:append_text(" (" .. text .. ")") end
    end
    if field.unit then item:append_text(" " .. field.unit) end
    for _, part in ipairs(field.bits or {}) do item:add_le(part.proto, payload(offset, size)) end
  end
end

local function add_payload(tree, layout, payload, length)
  if not payload then return end
  for _, field in ipairs(layout.fields) do add_field(tree, payload, field) end
  if payload:len() > length then tree:add(own.more, payload(length)) end
end

-- One whole frame. Returns what the packet list says of it.
local function add_frame(tree, frame, link, direction)
  local length, system_id, id = frame(1, 1):uint(), frame(3, 1):uint(), frame(5, 1):uint()
  local message = messages[id]
  local item = tree:add(camera, frame())
  item:add(own.start, frame(0, 1))
  item:add(own.length, frame(1, 1))
  item:add(own.sequence, frame(2, 1))
  item:add(own.system_id, frame(3, 1))
  item:add(own.component_id, frame(4, 1))
  local id_item = item:add(own.message_id, frame(5, 1))
  local payload = length > 0 and frame(HEADER, length):tvb() or nil
  local layout = message and find_layout(message, payload, system_id, link, direction)
  local sum = item:add_le(own.checksum, frame(HEADER + length, 2))
  local good = frame(HEADER + length, 2):le_uint() == frame_checksum(frame, crc_extra[id] or 0)
  sum:add(own.checksum_good, frame(HEADER + length, 2), good):set_generated()
  sum:append_text(good and " (right)" or " (wrong)")
  if not good then sum:add_proto_expert_info(experts.checksum) end
  if message then id_item:append_text(" (" .. message.name .. ")") end
  item:add(own.direction, direction):set_generated()
  if not layout then
    id_item:add_proto_expert_info(experts.unknown)
    return message and message.name or "message " .. id
  end
  item:add(own.layout, layout.layout):set_generated()
  item:set_text("Camera module: " .. layout.layout)
  add_payload(item, layout, payload, message.length)
  return layout.layout
end

-- Where the frame that begins at `at` ends; nil when the buffer ends before.
local function frame_end(buffer, at)
  if at + 2 > buffer:len() then return nil end
  local last = at + OVERHEAD + buffer(at + 1, 1):uint()
  return last <= buffer:len() and last or nil
end

-- Frames from `at` on. Returns how far it came and what they are.
local function add_frames(tree, buffer, at, link, direction)
  local told = {}
  while at < buffer:len() and buffer(at, 1):uint() == 0xFE do
    local last = frame_end(buffer, at)
    if not last then break end
    told[#told + 1] = add_frame(tree, buffer(at, last - at):tvb(), link, direction)
    at = last
  end
  return at, told
end

local function tell(packet, direction, told)
  packet.cols.protocol = "CAMERA"
  packet.cols.info = (direction or "") .. (direction and #told > 0 and ": " or "") .. table.concat(told, ", ")
end

return {
  description = description,
  protocol = camera,
  fields = own,
  experts = experts,
  numbered = numbered,
  add_frames = add_frames,
  tell = tell,
}
