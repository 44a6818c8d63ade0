-- Wireshark dissector for the frames a lumoipc host records with LUMOIPC_CAPTURE.
--
-- Each packet is one whole frame: a 20-byte header of five 32-bit words in the
-- recording host's byte order (little-endian), then one Thrift message in the
-- compact protocol, which Wireshark's own Thrift dissector decodes (method
-- name, message type, field ids). The packet flags say which way the frame
-- went; with the sequence id that tells a call from its reply and from a
-- notification, which the service sends with sequence id 0.
--
-- Use: tshark -X lua_script:lumo.lua -r capture.pcapng -V, or copy this file
-- into a Wireshark plugin folder (~/.local/lib/wireshark/plugins).

local lumo = Proto("lumo", "lumoipc frame")

local directions = { [1] = "received by the host", [2] = "sent by the host" }

local f_magic = ProtoField.string("lumo.magic", "Magic")
local f_length = ProtoField.uint32("lumo.length", "Total length", base.DEC)
local f_reserved0 = ProtoField.uint32("lumo.reserved0", "Reserved", base.HEX)
local f_seq = ProtoField.uint32("lumo.seq", "Sequence id", base.DEC)
local f_reserved1 = ProtoField.uint32("lumo.reserved1", "Reserved", base.HEX)
local f_direction = ProtoField.uint32("lumo.direction", "Direction", base.DEC, directions)
local f_kind = ProtoField.string("lumo.kind", "Kind")
lumo.fields = { f_magic, f_length, f_reserved0, f_seq, f_reserved1, f_direction, f_kind }

local e_magic = ProtoExpert.new("lumo.bad_magic", "Not a lumo frame (magic is not \"lumo\")",
                                expert.group.MALFORMED, expert.severity.ERROR)
local e_length = ProtoExpert.new("lumo.bad_length", "Total length differs from the frame's size",
                                 expert.group.MALFORMED, expert.severity.WARN)
lumo.experts = { e_magic, e_length }

local packet_direction = Field.new("frame.packet_flags_direction")
local thrift = Dissector.get("thrift")

local HEADER = 20

-- What a frame is, from the host's point of view.
local function kind_of(direction, seq)
    if seq == 0 then
        return direction == 2 and "notification (sent by the host?)" or "notification"
    end
    if direction == 2 then
        return "call"
    elseif direction == 1 then
        return "reply"
    end
    return "call or reply"
end

function lumo.dissector(tvb, pinfo, tree)
    if tvb:len() < HEADER then
        return 0
    end
    pinfo.cols.protocol = "LUMO"
    local seq = tvb(12, 4):le_uint()
    local flags = packet_direction()
    local direction = flags and flags.value or 0
    local kind = kind_of(direction, seq)

    local t = tree:add(lumo, tvb(0, HEADER), string.format("lumoipc frame, %s, seq %d", kind, seq))
    local magic = t:add(f_magic, tvb(0, 4))
    if tvb(0, 4):string() ~= "lumo" then
        magic:add_proto_expert_info(e_magic)
    end
    local length = t:add_le(f_length, tvb(4, 4))
    if tvb(4, 4):le_uint() ~= tvb:len() then
        length:add_proto_expert_info(e_length)
    end
    t:add_le(f_reserved0, tvb(8, 4))
    t:add_le(f_seq, tvb(12, 4))
    t:add_le(f_reserved1, tvb(16, 4))
    t:add(f_direction, direction):set_generated()
    t:add(f_kind, kind):set_generated()

    pinfo.cols.info = string.format("%s seq=%d", kind, seq)
    if tvb:len() > HEADER then
        -- The Thrift dissector tells the compact protocol from the binary one
        -- by the message's first byte, and adds the method name to the info column.
        pinfo.cols.info:fence()
        thrift:call(tvb(HEADER):tvb(), pinfo, tree)
        pinfo.cols.protocol = "LUMO"
    end
    return tvb:len()
end

DissectorTable.get("wtap_encap"):add(wtap_encaps.USER0, lumo)
