-- Wireshark dissector of the camera module's links: UDP 8888 (commands and reports), UDP 8857 (media channel),
-- TCP 8866 (application), UDP 8866 (acknowledged datagrams) and UDP 8856 (live video, handed on as H.264).
--   wireshark -X lua_script:docs/wireshark/camera_module.lua radio.pcap
-- What the messages hold is read (by frames.lua) from messages.json, in this folder or the one above. Every field can be
-- filtered by: camera_module.LAYOUT.FIELD, for example camera_module.status_record.iso == 400.

local folder = debug.getinfo(1, "S").source:match("^@(.*[/\\])") or "./"
local frames = assert(loadfile(folder .. "frames.lua"))(folder)
local camera, own, experts, tell = frames.protocol, frames.fields, frames.experts, frames.tell
local description = frames.description

local START_CODE = "\0\0\1"
local FROM, TO = "from camera", "to camera"

-- By the port that only the camera has.
local function by_port(packet, port) return packet.src_port == port and FROM or TO end

-- Both sides may have port 8888: by the camera's address, else by the port of whoever has another one, else by
-- the system ids that the camera writes.
local function peer_direction(buffer, packet)
  if tostring(packet.src) == camera.prefs.address then return FROM end
  if tostring(packet.dst) == camera.prefs.address then return TO end
  if packet.src_port ~= packet.dst_port then return by_port(packet, 8888) end
  local id = buffer:len() > 3 and buffer(3, 1):uint() or 0
  return (id >= 35 and id <= 39) and FROM or TO
end

-- A datagram, or what is left of one, that holds frames and nothing else.
local function add_frames_only(tree, buffer, at, link, direction)
  local reached, told = frames.add_frames(tree, buffer, at, link, direction)
  if reached < buffer:len() then
    tree:add(camera, buffer(reached)):add_proto_expert_info(experts.broken)
    told[#told + 1] = "broken"
  end
  return told
end

local h264 = Dissector.get("h264")

-- Hands each unit of an H.264 stream on. What stands in front of the first start code goes on the datagram before.
local function add_video(tree, buffer, at, packet)
  local bytes = buffer:raw(at)
  local found, behind = bytes:find(START_CODE, 1, true)
  local first = found and (found > 1 and bytes:byte(found - 1) == 0 and found - 1 or found)
  local units = 0
  while found do
    local following, following_end = bytes:find(START_CODE, behind + 1, true)
    local last = following and following - 1 or #bytes
    if following and bytes:byte(last) == 0 then last = last - 1 end
    if last > behind then
      h264:call(buffer(at + behind, last - behind):tvb(), packet, tree)
      units = units + 1
    end
    found, behind = following, following_end
  end
  tree:add(own.units, units):set_generated()
  return units .. " H.264 units" .. (first == 1 and "" or ", goes on the datagram before")
end

local CHANNELS = frames.numbered(description.values.media_channel)

local peer = Proto("camera_module_peer", "Camera module, commands and reports")
function peer.dissector(buffer, packet, tree)
  local direction = peer_direction(buffer, packet)
  tell(packet, direction, add_frames_only(tree, buffer, 0, "peer", direction))
end

local media = Proto("camera_module_media", "Camera module, media channel")
function media.dissector(buffer, packet, tree)
  local direction = by_port(packet, 8857)
  if direction == TO then return tell(packet, direction, add_frames_only(tree, buffer, 0, "media", direction)) end
  local channel = buffer(0, 1):uint()
  local item = tree:add(camera, buffer())
  item:add(own.channel, buffer(0, 1)):append_text(" (" .. (CHANNELS[channel] or "unknown") .. ")")
  local told = {}
  if channel <= 1 then
    told = add_frames_only(tree, buffer, 1, "media", direction)
  elseif CHANNELS[channel] then
    if buffer:len() > 1 then item:add(own.data, buffer(1)) end
    told[1] = CHANNELS[channel] .. ", " .. (buffer:len() - 1) .. " bytes"
    if channel == 3 and buffer:raw(1, math.min(4, buffer:len() - 1)) == "\0" .. START_CODE then
      told[1] = told[1] .. ", " .. add_video(item, buffer, 1, packet)
    end
  else
    item:add_proto_expert_info(experts.unknown)
  end
  tell(packet, direction, told)
end

local app = Proto("camera_module_app", "Camera module, application")
function app.dissector(buffer, packet, tree)
  local direction = by_port(packet, 8866)
  local reached, told = frames.add_frames(tree, buffer, 0, "app", direction)
  if reached < buffer:len() and buffer(reached, 1):uint() == 0xFE then
    packet.desegment_offset = reached
    packet.desegment_len = DESEGMENT_ONE_MORE_SEGMENT
  elseif reached < buffer:len() then
    tree:add(camera, buffer(reached)):add_proto_expert_info(experts.broken)
  end
  tell(packet, direction, told)
end

-- RFC 1071 over little-endian words.
local function internet_checksum(range)
  local sum, bytes = 0, range:raw()
  for i = 1, #bytes do sum = sum + bytes:byte(i) * (i % 2 == 1 and 1 or 256) end
  while sum > 0xFFFF do sum = sum % 0x10000 + math.floor(sum / 0x10000) end
  return 0xFFFF - sum
end

local acknowledged = Proto("camera_module_acknowledged", "Camera module, acknowledged datagrams")
function acknowledged.dissector(buffer, packet, tree)
  local item, size = tree:add(camera, buffer()), buffer:len() - 16
  if size > 0 and buffer:raw(0, 4) == "C0XF" and buffer:raw(12 + size, 4) == "FX0C" then
    item:add_le(own.stamp, buffer(4, 4)):append_text(" us")
    local sum = item:add_le(own.checksum, buffer(10, 2))
    local good = buffer(10, 2):le_uint() == internet_checksum(buffer(12, size))
    sum:add(own.checksum_good, buffer(10, 2), good):set_generated()
    if not good then sum:add_proto_expert_info(experts.checksum) end
    item:add(own.data, buffer(12, size))
    return tell(packet, nil, { "acknowledged datagram of " .. size .. " bytes" })
  end
  local at = buffer:raw():find("FF", 1, true)
  if at and buffer:len() - (at - 1) > 4 then
    local stamp = buffer(at + 1, math.min(4, buffer:len() - at - 1))
    item:add_le(own.stamp, stamp):append_text(" us")
    return tell(packet, nil, { "acknowledgement" })
  end
  item:add_proto_expert_info(experts.broken)
  tell(packet, nil, { "broken" })
end

local live = Proto("camera_module_live", "Camera module, live video")
function live.dissector(buffer, packet, tree)
  local item = tree:add(camera, buffer())
  item:add(own.data, buffer())
  local told = add_video(item, buffer, 0, packet)
  tell(packet, nil, { "live video, " .. told })
end

local udp, tcp = DissectorTable.get("udp.port"), DissectorTable.get("tcp.port")
for link, protocol in pairs({ peer = peer, media = media, acknowledged = acknowledged, live = live }) do
  udp:add(description.links[link].port, protocol)
end
tcp:add(description.links.app.port, app)
