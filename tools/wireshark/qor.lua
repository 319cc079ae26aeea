-- Dissects the frames of qor on TCP connections, and the nbr values in them.
--
-- A frame is the length of its payload in 4 bytes, most significant first, and then the payload. It
-- may span any number of segments. The port is a preference of the protocol; use "Decode As" for
-- other ports.

local qor = Proto("qor", "qor frames")

local fields = {
    length = ProtoField.uint32("qor.length", "Length", base.DEC),
    payload = ProtoField.bytes("qor.payload", "Payload"),
    tag = ProtoField.uint8("qor.nbr.tag", "Tag", base.DEC),
    complex = ProtoField.bytes("qor.nbr.complex", "Complex value"),
    text = ProtoField.string("qor.nbr.text", "Text", base.UNICODE),
    data = ProtoField.bytes("qor.nbr.data", "Data"),
    number = ProtoField.uint64("qor.nbr.number", "Number", base.DEC),
    null = ProtoField.none("qor.nbr.null", "Null"),
    empty = ProtoField.none("qor.nbr.empty", "Empty"),
}
qor.fields = fields

local malformed = ProtoExpert.new("qor.nbr.malformed", "Not nbr", expert.group.MALFORMED,
                                  expert.severity.ERROR)
local cut = ProtoExpert.new("qor.nbr.cut", "The message is cut off", expert.group.MALFORMED,
                            expert.severity.WARN)
local behind = ProtoExpert.new("qor.nbr.behind", "Bytes after the message",
                               expert.group.PROTOCOL, expert.severity.NOTE)
local deep = ProtoExpert.new("qor.nbr.deep", "Deeper values are shown at one level",
                             expert.group.PROTOCOL, expert.severity.NOTE)
qor.experts = { malformed, cut, behind, deep }

qor.prefs.port = Pref.uint("TCP port", 4711, "The port of the server")

local HEAD = 4
-- The depth of a tree is limited in the program that shows it. Deeper values are shown at this depth.
local MOST_DEPTH = 60

-- Whether there are the bytes FF 01 and this bracket at an offset.
local function is_bracket(buffer, at, bracket)
    return at + 3 <= buffer:len() and buffer(at, 1):uint() == 0xFF
        and buffer(at + 1, 1):uint() == 1 and buffer(at + 2, 1):uint() == bracket
end
local OPEN, CLOSE = 0x28, 0x29

-- Adds the simple value at an offset and returns the offset of its end, or nil if the value is cut off
-- or malformed.
local function add_simple(buffer, at, tree, label)
    local left = buffer:len() - at
    if left < 1 then
        tree:add_proto_expert_info(cut)
        return nil
    end
    local mark = buffer(at, 1):uint()
    local high, width = bit.rshift(mark, 4), bit.band(mark, 15)
    -- Not a bracket: as the parser of qor does, this byte alone is skipped.
    if mark == 0xFF then return at + 1 end
    if (high ~= 0 and high ~= 15) or width > 4 then
        tree:add_tvb_expert_info(malformed, buffer(at, 1),
                                 string.format("Not nbr: no length of a size: %02X", mark))
        return nil
    end
    if width == 0 then
        tree:add(fields.null, buffer(at, 1)):prepend_text(label)
        return at + 1
    end
    if left < 1 + width then
        tree:add_proto_expert_info(cut)
        return nil
    end
    local size = buffer(at + 1, width):le_uint()
    local begin = at + 1 + width
    local there = math.min(size, buffer:len() - begin)
    if size == 0 then
        tree:add(fields.empty, buffer(at, 1 + width)):prepend_text(label)
        return begin
    end
    if there > 0 then
        local data = buffer(begin, there)
        if high == 15 then
            tree:add_packet_field(fields.text, data, ENC_UTF_8):prepend_text(label)
        else
            local item = tree:add(fields.data, data)
            item:prepend_text(label)
            -- The message does not contain types: data of at most 8 bytes may be a number.
            if there <= 8 then
                item:append_text(" (" .. tostring(data:le_uint64()) .. ")")
                item:add_le(fields.number, data):set_generated()
            end
        end
    end
    if there < size then
        tree:add_proto_expert_info(cut)
        return nil
    end
    return begin + size
end

-- Keeps the open values in a table, since recursion would overflow Lua's stack for a deep value.
local function add_nbr(buffer, tree)
    local at = 0
    if not is_bracket(buffer, 0, OPEN) then
        at = add_simple(buffer, 0, tree, "")
    else
        local open = { { item = tree:add(fields.complex, buffer()), begin = 0 } }
        open[1].item:set_text("Complex value")
        at = 3
        while #open > 0 do
            local level = open[#open]
            if is_bracket(buffer, at, CLOSE) then
                at = at + 3
                level.item:set_len(at - level.begin)
                open[#open] = nil
            elseif at >= buffer:len() then
                tree:add_proto_expert_info(cut)
                return
            else
                local tag = buffer(at, 1):uint()
                local label = string.format("[%d] ", tag)
                if #open <= MOST_DEPTH then
                    level.item:add(fields.tag, buffer(at, 1)):set_hidden()
                end
                local begin = at
                at = at + 1
                if is_bracket(buffer, at, OPEN) then
                    local item = level.item
                    if #open < MOST_DEPTH then
                        item = level.item:add(fields.complex, buffer(begin))
                        item:set_text(label .. "Complex value")
                    elseif #open == MOST_DEPTH then
                        item:add_proto_expert_info(deep)
                    end
                    open[#open + 1] = { item = item, begin = #open < MOST_DEPTH and begin or level.begin }
                    at = at + 3
                else
                    at = add_simple(buffer, at, level.item, label)
                    if not at then return end
                end
            end
        end
    end
    if at and at < buffer:len() then
        tree:add_tvb_expert_info(behind, buffer(at))
    end
end

local function length_of(buffer, _, offset)
    return buffer(offset, HEAD):uint() + HEAD
end

local function dissect_frame(buffer, pinfo, tree)
    pinfo.cols.protocol = "qor"
    local size = buffer:len() - HEAD
    local item = tree:add(qor, buffer())
    item:append_text(string.format(", %d bytes", size))
    item:add(fields.length, buffer(0, HEAD))
    pinfo.cols.info:append(string.format(" frame(%d)", size))
    if size > 0 then
        local payload = buffer(HEAD)
        add_nbr(payload:tvb(), item:add(fields.payload, payload))
    end
    return buffer:len()
end

function qor.dissector(buffer, pinfo, tree)
    dissect_tcp_pdus(buffer, tree, HEAD, length_of, dissect_frame)
    return buffer:len()
end

local ports = DissectorTable.get("tcp.port")
local port = qor.prefs.port
ports:add(port, qor)
ports:add_for_decode_as(qor)

function qor.prefs_changed()
    if port == qor.prefs.port then return end
    ports:remove(port, qor)
    port = qor.prefs.port
    ports:add(port, qor)
end
