-- Wireshark dissector for G.719 in RTP packets (RFC 5404, basic mode): the list of ToC entries, what
-- each entry holds and when, frames that came before, and why rtpg719depay would discard a packet.
--
-- Wireshark uses it by itself where SDP in the capture names G719. Elsewhere, say so:
--
--   tshark -r call.pcap -d udp.port==5004,rtp -d rtp.pt==96,g719 -O g719

local FRAME_SAMPLES = 960 -- at 48 kHz
local FRAME_MS = 20
local BITRATE_STEP = 400 -- bit/s of one byte a frame
local TIMESTAMPS = 0x100000000 -- they wrap there
local TOC_ENTRY_BYTES = 2
local MAX_CHANNELS = 6
local MAX_BLOCKS = 250 -- 5 s
local MAX_BLOCKS_NO_DATA = 50
local NO_DATA = 0 -- length code

local g719 = Proto("G719", "ITU-T G.719 audio")

g719.prefs.channels = Pref.uint("Channels", 0,
  "Channels of each stream, 1 to 6; 0 to tell them by the size of each packet")

local LENGTH_CODES = { [NO_DATA] = "no data" }
local FRAME_BYTES = { [NO_DATA] = 0 } -- by length code; nil for the reserved ones
for code = 8, 27 do
  FRAME_BYTES[code] = code <= 22 and 10 * code or 20 * code - 220
  LENGTH_CODES[code] = string.format("%d bytes a frame", FRAME_BYTES[code])
end

local fields = {
  channels = ProtoField.uint8("g719.channels", "Channels"),
  blocks = ProtoField.uint32("g719.blocks", "Frame-blocks of all entries"),
  duration = ProtoField.uint32("g719.duration", "Duration in ms"),
  entry = ProtoField.none("g719.entry", "Entry"),
  has_follower = ProtoField.bool("g719.entry.f", "Another entry follows", 8, nil, 0x80),
  length_code = ProtoField.uint8("g719.entry.l", "Length code", base.DEC, LENGTH_CODES, 0x7c),
  reserved = ProtoField.uint8("g719.entry.r", "Without meaning", base.DEC, nil, 0x03),
  count = ProtoField.uint8("g719.entry.blocks", "Frame-blocks"),
  frame_bytes = ProtoField.uint32("g719.entry.frame_bytes", "Bytes of a frame"),
  bitrate = ProtoField.uint32("g719.entry.bitrate", "Bitrate of a channel in bit/s"),
  time = ProtoField.uint32("g719.entry.time", "Begins, in ms behind the packet's timestamp"),
  timestamp = ProtoField.uint32("g719.entry.timestamp", "RTP timestamp of the entry"),
  frames = ProtoField.bytes("g719.frames", "Frames"),
  copy = ProtoField.framenum("g719.copy_of", "The same time came first in", base.NONE,
    frametype.NONE),
}
g719.fields = fields

local function fault(name, text)
  return ProtoExpert.new("g719." .. name, text, expert.group.MALFORMED, expert.severity.ERROR)
end

local faults = {
  list_without_end = fault("list_without_end", "The list of entries does not end"),
  reserved_length_code = fault("reserved_length_code", "A reserved length code"),
  too_long = fault("too_long", "The packet spans more than 5 s"),
  too_empty = fault("too_empty", "More than 50 frame-blocks without data"),
  other_size = fault("other_size", "The size is not what the entries promise"),
  cut = ProtoExpert.new("g719.cut", "The capture has only a part of the packet",
    expert.group.UNDECODED, expert.severity.NOTE),
}
g719.experts = faults

local rtp_timestamp = Field.new("rtp.timestamp")
local rtp_ssrc = Field.new("rtp.ssrc")

-- The number of the captured packet that first brought frames of a time, by stream and timestamp.
local first_seen = {}

function g719.init()
  first_seen = {}
end

-- Reads entries up to the last one or the first fault. Returns the list, and the fault or nil.
local function read_list(tvb)
  local list = { entries = {}, bytes = 0, blocks = 0, frames_bytes = 0 }
  local blocks_no_data = 0
  repeat
    local at = list.bytes
    if at + TOC_ENTRY_BYTES > tvb:reported_len() then return list, "list_without_end" end
    if at + TOC_ENTRY_BYTES > tvb:len() then return list, "cut" end
    local entry = {
      at = at,
      length_code = tvb(at, 1):bitfield(1, 5),
      blocks = tvb(at + 1, 1):uint(),
      first_block = list.blocks,
    }
    entry.frame_bytes = FRAME_BYTES[entry.length_code]
    table.insert(list.entries, entry)
    list.bytes = at + TOC_ENTRY_BYTES
    list.blocks = list.blocks + entry.blocks
    if entry.frame_bytes == nil then return list, "reserved_length_code" end
    list.frames_bytes = list.frames_bytes + entry.blocks * entry.frame_bytes
    if entry.length_code == NO_DATA then blocks_no_data = blocks_no_data + entry.blocks end
    if list.blocks > MAX_BLOCKS then return list, "too_long" end
    if blocks_no_data > MAX_BLOCKS_NO_DATA then return list, "too_empty" end
  until tvb(at, 1):bitfield(0, 1) == 0
  return list, nil
end

-- How many channels the preference or the packet's size says, or nil where neither does; and whether
-- the size is one that the list does not promise.
local function find_channels(list, frames_bytes)
  if list.frames_bytes == 0 then return nil, frames_bytes > 0 end
  local channels = g719.prefs.channels
  if channels == 0 then channels = math.floor(frames_bytes / list.frames_bytes) end
  if channels < 1 or channels > MAX_CHANNELS or channels * list.frames_bytes ~= frames_bytes then
    return nil, true
  end
  return channels, false
end

local function add_generated(tree, field, value)
  tree:add(field, value):set_generated()
end

local function add_entry(tree, tvb, entry, start)
  local range = tvb(entry.at, TOC_ENTRY_BYTES)
  local text = string.format("%d x %s, at %d ms", entry.blocks,
    LENGTH_CODES[entry.length_code] or "reserved", entry.first_block * FRAME_MS)
  local item = tree:add(fields.entry, range)
  item:append_text(": " .. text)
  item:add(fields.has_follower, range(0, 1))
  item:add(fields.length_code, range(0, 1))
  item:add(fields.reserved, range(0, 1))
  item:add(fields.count, range(1, 1))
  if entry.frame_bytes and entry.frame_bytes > 0 then
    add_generated(item, fields.frame_bytes, entry.frame_bytes)
    add_generated(item, fields.bitrate, entry.frame_bytes * BITRATE_STEP)
  end
  add_generated(item, fields.time, entry.first_block * FRAME_MS)
  if start then
    add_generated(item, fields.timestamp, (start + entry.first_block * FRAME_SAMPLES) % TIMESTAMPS)
  end
  return item
end

-- Names, for each frame-block of an entry that is a copy, the packet that brought it first.
local function add_copies(item, entry, seen, start, number)
  local copies = 0
  for block = entry.first_block, entry.first_block + entry.blocks - 1 do
    local timestamp = (start + block * FRAME_SAMPLES) % TIMESTAMPS
    seen[timestamp] = seen[timestamp] or number
    if seen[timestamp] < number then
      add_generated(item, fields.copy, seen[timestamp])
      copies = copies + 1
    end
  end
  if copies > 0 then item:append_text(string.format(", %d sent before", copies)) end
  return copies
end

-- The frames of all entries stand behind the list. Returns how many frame-blocks came before.
local function add_frames(items, tvb, list, channels, pinfo, start)
  local copies = 0
  local at = list.bytes
  local key = string.format("%s %s %s", pinfo.src, pinfo.dst_port, rtp_ssrc() or "")
  first_seen[key] = first_seen[key] or {}
  for index, entry in ipairs(list.entries) do
    local size = entry.blocks * entry.frame_bytes * channels
    if size > 0 then
      local captured = math.min(size, tvb:len() - at)
      if captured > 0 then items[index]:add(fields.frames, tvb(at, captured)) end
      if start then
        copies = copies + add_copies(items[index], entry, first_seen[key], start, pinfo.number)
      end
    end
    at = at + size
  end
  return copies
end

function g719.dissector(tvb, pinfo, tree)
  local list, found = read_list(tvb)
  local channels
  if not found then
    local is_other_size
    channels, is_other_size = find_channels(list, tvb:reported_len() - list.bytes)
    if is_other_size then found = "other_size" end
  end

  pinfo.cols.protocol = "G.719"
  local root = tree:add(g719, tvb())
  if channels then add_generated(root, fields.channels, channels) end
  add_generated(root, fields.blocks, list.blocks)
  add_generated(root, fields.duration, list.blocks * FRAME_MS)
  local timestamp = rtp_timestamp()
  local start = timestamp and timestamp.value
  local items = {}
  for index, entry in ipairs(list.entries) do
    items[index] = add_entry(root, tvb, entry, start)
  end

  local summary = string.format(", %d ms", list.blocks * FRAME_MS)
  if channels then
    local copies = add_frames(items, tvb, list, channels, pinfo, start)
    if copies > 0 then summary = summary .. string.format(", %d ms of it sent before",
      copies * FRAME_MS) end
  end
  if found then
    root:add_proto_expert_info(faults[found])
    summary = summary .. (found == "cut" and ", cut by the capture" or ", to be discarded")
  elseif tvb:len() < tvb:reported_len() then
    root:add_proto_expert_info(faults.cut)
  end
  root:append_text(summary)
  pinfo.cols.info:append(summary)
  return tvb:len()
end

DissectorTable.get("rtp_dyn_payload_type"):add("G719", g719)
DissectorTable.get("rtp.pt"):add_for_decode_as(g719)
