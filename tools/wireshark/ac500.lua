-- Wireshark dissector for the protocol between an operator panel and an AC500 PLC (CODESYS V2 runtime, Ethernet TCP).
-- docs/wireshark.md says how to install it and what its warnings mean, docs/wire-format.md has every frame.
--
-- A reply carries nothing that says which request it answers, and a PLC in trouble sends replies that are short, late,
-- repeated or of a wrong length. TCP's own reassembly would wait for bytes that never come, so each connection is cut into
-- frames here, with what its requests make known of the replies. That happens when a packet is seen for the first time,
-- in the order of the capture; what was found is kept by packet number, and drawn in whatever order packets are visited.

local ac500 = Proto("ac500", "AC500 (CODESYS V2)")

-- ---------------------------------------------------------------------------------------------------------------------
-- The wire
-- ---------------------------------------------------------------------------------------------------------------------

local MAGIC = "\187\187"
local ENVELOPE_BYTES = 6 -- magic, length of the payload
local MAX_PAYLOAD_BYTES = 65535
local ITEM_HEAD_BYTES = 10 -- area, address, size
local ITEMS_AT = 12 -- in a request, and in the reply to a read
local SESSION_BYTES = 4
local STATUS_REPLY_BYTES = 8 -- envelope, status word: the answer to a write, and every refusal
local HELLO, SYMBOLS, READ, WRITE = 0x01, 0x31, 0x2E, 0x3C
local HELLO_REQUEST_BYTES = 20
local HELLO_REPLY_BYTES, SYMBOLS_REPLY_BYTES = 206, 36 -- at least
local SESSION_AT = 24 -- in the reply to "symbols"

local SERVICES = { [HELLO] = "Hello", [SYMBOLS] = "Symbols", [READ] = "Read", [WRITE] = "Write" }

-- A request that is sent so soon after the one before did not wait for its reply in vain: its client sends ahead.
local SENT_AHEAD_SECONDS = 0.010
local MOST_GIVEN_UP = 16 -- requests of a connection that may still be answered late
local MOST_DRAWN = 4096 -- variables of one frame
local MOST_CACHED = 4096 -- requests and places whose meaning is kept at hand

local STATUS_WORDS = {
    [0x0000] = "good",
    [0x0101] = "wrong magic",
    [0x0102] = "request too long",
    [0x0103] = "bad length",
    [0x0104] = "unknown service",
    [0x0201] = "wrong session bytes",
    [0x0202] = "unknown file",
    [0x0301] = "unknown area",
    [0x0302] = "out of range",
    [0x0303] = "reply too long",
    [0x0304] = "read-only variable",
    [0x0305] = "bad value",
    [0x0F01] = "injected fault",
}

-- ---------------------------------------------------------------------------------------------------------------------
-- Fields, expert infos, preferences
-- ---------------------------------------------------------------------------------------------------------------------

local f = {
    magic = ProtoField.uint16("ac500.magic", "Magic", base.HEX),
    length = ProtoField.uint32("ac500.length", "Payload length", base.DEC),
    service = ProtoField.uint8("ac500.service", "Service", base.HEX, SERVICES),
    status = ProtoField.uint16("ac500.status", "Status word", base.HEX, STATUS_WORDS),
    reply_in = ProtoField.framenum("ac500.reply_in", "Reply in", base.NONE, frametype.RESPONSE),
    request_in = ProtoField.framenum("ac500.request_in", "Request in", base.NONE, frametype.REQUEST),
    reply_time = ProtoField.relative_time("ac500.reply_time", "Time since the request"),
    repeat_of = ProtoField.framenum("ac500.repeat_of", "Repeats the reply in", base.NONE, frametype.DUP_ACK),
    item_count = ProtoField.uint32("ac500.item_count", "Items", base.DEC),
    item = ProtoField.bytes("ac500.item", "Item"),
    area = ProtoField.uint16("ac500.item.area", "Area", base.DEC),
    address = ProtoField.uint32("ac500.item.address", "Address", base.DEC),
    size = ProtoField.uint32("ac500.item.size", "Size", base.DEC),
    lead = ProtoField.uint8("ac500.item.lead", "Lead byte", base.HEX),
    data = ProtoField.bytes("ac500.item.data", "Data"),
    tag = ProtoField.string("ac500.tag", "Variable"),
    value = ProtoField.string("ac500.value", "Value"),
    session = ProtoField.bytes("ac500.session", "Session bytes"),
    file = ProtoField.string("ac500.file", "File"),
    fixed = ProtoField.bytes("ac500.fixed", "Fixed bytes"),
    boot_count = ProtoField.uint32("ac500.boot_count", "Boot count (simulator)", base.DEC),
    most_request = ProtoField.uint32("ac500.most_request", "Longest request payload (simulator)", base.DEC),
    most_reply = ProtoField.uint32("ac500.most_reply", "Longest reply payload (simulator)", base.DEC),
    device = ProtoField.string("ac500.device", "Device (simulator)"),
    version = ProtoField.string("ac500.version", "Version (simulator)"),
    payload = ProtoField.bytes("ac500.payload", "Payload"),
    part = ProtoField.bytes("ac500.part", "Part of a frame"),
    part_in = ProtoField.framenum("ac500.part_in", "Whole frame in", base.NONE, frametype.NONE),
    begun_in = ProtoField.framenum("ac500.begun_in", "Begins in", base.NONE, frametype.NONE),
    stray = ProtoField.bytes("ac500.stray", "Bytes of no frame"),
}
ac500.fields = f

local function warning(name, text, group)
    return ProtoExpert.new("ac500." .. name, text, group or expert.group.SEQUENCE, expert.severity.WARN)
end
local function note(name, text, group)
    return ProtoExpert.new("ac500." .. name, text, group or expert.group.SEQUENCE, expert.severity.NOTE)
end

local e = {
    refused = warning("refused", "Refused", expert.group.RESPONSE_CODE),
    short = warning("short", "Short reply", expert.group.MALFORMED),
    wrong_size = warning("wrong_size", "Reply of another size than asked for", expert.group.MALFORMED),
    wrong_length = warning("wrong_length", "Wrong length field", expert.group.MALFORMED),
    repeated = warning("repeated", "Repeated reply"),
    late = warning("late", "Late reply"),
    unasked = warning("unasked", "Unasked reply"),
    unanswered = warning("unanswered", "Request without a reply"),
    malformed = warning("malformed", "Malformed request", expert.group.MALFORMED),
    stray_bytes = warning("stray_bytes", "Bytes that belong to no frame", expert.group.MALFORMED),
    wrong_session = warning("wrong_session", "Session bytes of another handshake", expert.group.PROTOCOL),
    given_up = note("given_up", "An earlier request was given up"),
    either = note("either", "May answer an earlier request"),
    upper_length = note("upper_length", "Upper half of the length not 0", expert.group.PROTOCOL),
    gap = note("gap", "Bytes missing in the capture", expert.group.REASSEMBLE),
    sliced = note("sliced", "Packet cut off by the capture", expert.group.REASSEMBLE),
    before = ProtoExpert.new("ac500.before", "Beginning not in the capture", expert.group.SEQUENCE, expert.severity.CHAT),
    again = ProtoExpert.new("ac500.again", "Retransmitted bytes", expert.group.SEQUENCE, expert.severity.CHAT),
    more = note("more_variables", "More variables than are shown", expert.group.UNDECODED),
}
ac500.experts = e

local p = ac500.prefs
p.ports = Pref.range("TCP ports of PLCs", "1201", "Ports on which PLCs listen; on others, requests are recognised", 65535)
p.maps = Pref.string("Maps of variables", "",
    "FILE for all PLCs, or ADDRESS=FILE;ADDRESS:PORT=FILE;... from ac500-host symbols export --wireshark")
p.late_ms = Pref.uint("Late after (ms)", 2000, "Replies that take longer are late; 0: only those whose request was given up")

-- ---------------------------------------------------------------------------------------------------------------------
-- Numbers in strings of bytes. `at` counts from 0, as offsets of frames do; the caller knows that the bytes are there.
-- ---------------------------------------------------------------------------------------------------------------------

local byte, sub, find, floor, min, max = string.byte, string.sub, string.find, math.floor, math.min, math.max

local function u16(bytes, at)
    local high, low = byte(bytes, at + 1, at + 2)
    return high * 256 + low
end

local function u32(bytes, at)
    return u16(bytes, at) * 65536 + u16(bytes, at + 2)
end

local function plural(count, what)
    return count .. " " .. what .. (count == 1 and "" or "s")
end

local function milliseconds(seconds)
    return string.format("%.3f ms", seconds * 1000)
end

-- ---------------------------------------------------------------------------------------------------------------------
-- Requests
-- ---------------------------------------------------------------------------------------------------------------------

-- What is wrong with a whole request, or nil.
local function wrongInRequest(bytes)
    local length = #bytes
    if length <= ENVELOPE_BYTES then
        return "there is no payload"
    end
    local service = byte(bytes, ENVELOPE_BYTES + 1)
    if service == HELLO then
        return length ~= HELLO_REQUEST_BYTES and "a hello has 20 bytes" or nil
    elseif service == SYMBOLS then
        return (length < 10 or length ~= 10 + u16(bytes, 8)) and "the name has not the length that is announced" or nil
    elseif service ~= READ and service ~= WRITE then
        return string.format("there is no service 0x%02X", service)
    elseif length < ITEMS_AT + SESSION_BYTES then
        return "there is no room for the session bytes"
    end
    local count = u32(bytes, 8)
    local last = length - SESSION_BYTES
    if service == READ then
        return last ~= ITEMS_AT + ITEM_HEAD_BYTES * count and "items and length do not match" or nil
    end
    local at = ITEMS_AT
    for _ = 1, count do
        if at + ITEM_HEAD_BYTES > last then
            return "items and length do not match"
        end
        at = at + ITEM_HEAD_BYTES + u32(bytes, at + 6)
    end
    return at ~= last and "items and length do not match" or nil
end

local function isRequest(bytes)
    return #bytes > ENVELOPE_BYTES and sub(bytes, 1, 2) == MAGIC and u32(bytes, 2) == #bytes - ENVELOPE_BYTES and
        wrongInRequest(bytes) == nil
end

-- Is there a whole request at the beginning of the bytes?
local function beginsWithRequest(bytes)
    if #bytes <= ENVELOPE_BYTES or sub(bytes, 1, 2) ~= MAGIC then
        return false
    end
    local length = u32(bytes, 2)
    return length <= MAX_PAYLOAD_BYTES and #bytes >= ENVELOPE_BYTES + length and
        isRequest(sub(bytes, 1, ENVELOPE_BYTES + length))
end

-- The items of a read, three numbers each: area, address, size. The same requests come again and again.
local itemCache, itemCacheCount = {}, 0

local function itemsOfRead(heads)
    local items = itemCache[heads]
    if items then
        return items
    end
    items = {}
    for at = 0, #heads - ITEM_HEAD_BYTES, ITEM_HEAD_BYTES do
        items[#items + 1] = u16(heads, at)
        items[#items + 1] = u32(heads, at + 2)
        items[#items + 1] = u32(heads, at + 6)
    end
    if itemCacheCount >= MOST_CACHED then
        itemCache, itemCacheCount = {}, 0
    end
    itemCache[heads] = items
    itemCacheCount = itemCacheCount + 1
    return items
end

local function bytesOfReadReply(heads)
    local items = itemsOfRead(heads)
    local bytes = ITEMS_AT
    for i = 3, #items, 3 do
        bytes = bytes + 1 + items[i]
    end
    return bytes
end

-- Bytes of the good reply; of a handshake, at least. nil: not known.
local function expectedReply(service, heads)
    if service == HELLO then
        return HELLO_REPLY_BYTES
    elseif service == SYMBOLS then
        return SYMBOLS_REPLY_BYTES
    elseif service == READ then
        local bytes = heads and bytesOfReadReply(heads)
        return bytes and bytes <= ENVELOPE_BYTES + MAX_PAYLOAD_BYTES and bytes or STATUS_REPLY_BYTES
    end
    return STATUS_REPLY_BYTES
end

-- Can a reply of so many bytes, with this status word (nil: it has none), be the answer?
local function fits(request, length, status)
    if length == STATUS_REPLY_BYTES and (status ~= 0 or request.expected == STATUS_REPLY_BYTES) then
        return true
    elseif request.service == HELLO or request.service == SYMBOLS then
        return length >= request.expected
    end
    return length == request.expected
end

-- ---------------------------------------------------------------------------------------------------------------------
-- State of one file
-- ---------------------------------------------------------------------------------------------------------------------

-- A stream is a TCP connection:
--   id          TCP's number of the connection, where it is known
--   server      the PLC's end, once that is known
--   sides       by the end that sends:
--     next             the sequence number behind what was seen
--     part, pending    the frame that is not whole yet, and its bytes so far; `need` of them tell more
--     isLost           where frames begin is not known
--     beginIsMissing   the next bytes may be the rest of a frame that is not in the capture
--   open        requests that wait for their reply, oldest first
--   givenUp     requests that their client no longer waits for, oldest first
--   lastReply, lastReplyFrame, lastRequestFrame, session, sessionFrame
local streams
-- By packet number: a request or reply that is the whole segment, or a list of pieces, in `more` those of further segments
-- of the same packet.
local plans

-- ---------------------------------------------------------------------------------------------------------------------
-- First visit: from segments to frames
-- ---------------------------------------------------------------------------------------------------------------------

local plcPorts = {} -- those of the preference, as a set

-- What TCP knows. Wireshark fills in no fields when it first reads a file that is not filtered, for the window or for two
-- passes of tshark: then all of these are nil, and bytes that are missing in the capture are not told from bytes that were
-- never sent.
local tcpStream = Field.new("tcp.stream")
local tcpSequence = Field.new("tcp.seq_raw")
local tcpAcknowledged = Field.new("tcp.ack_raw")
local tcpLength = Field.new("tcp.len")

local function lastOf(field)
    local all = { field() }
    return all[#all] and all[#all].value
end

-- How far `a` lies behind `b` in the circle of sequence numbers; negative: before it.
local function sequenceDistance(a, b)
    local distance = (a - b) % 4294967296
    return distance >= 2147483648 and distance - 4294967296 or distance
end

local function isPlcPort(port)
    return plcPorts[port] or false
end

-- The two ends of a connection, and the connection.
local function keysOf(pinfo)
    local source, target = tostring(pinfo.src) .. " " .. pinfo.src_port, tostring(pinfo.dst) .. " " .. pinfo.dst_port
    return source, target, source < target and source .. " " .. target or target .. " " .. source
end

local function newStream(pinfo, source, target, id)
    local stream = { sides = {}, open = {}, givenUp = {}, id = id }
    local fromPlc, toPlc = isPlcPort(pinfo.src_port), isPlcPort(pinfo.dst_port)
    if fromPlc ~= toPlc then
        stream.server = fromPlc and source or target
    end
    return stream
end

-- The stream of a packet. Ports may be used again: what TCP counts as another connection is another stream.
local function streamOf(pinfo, source, target, connection)
    local stream = streams[connection]
    if pinfo.visited then
        return stream or newStream(pinfo, source, target)
    end
    local id = lastOf(tcpStream)
    if not stream or (id and stream.id and id ~= stream.id) then
        stream = newStream(pinfo, source, target, id)
        streams[connection] = stream
    end
    return stream
end

local function say(record, kind, text)
    record.notes = record.notes or {}
    record.notes[#record.notes + 1] = { kind, text }
end

local function magicMayFollow(bytes, at)
    local first, second = byte(bytes, at + 1, at + 2)
    return first == nil or (first == 187 and (second == nil or second == 187))
end

-- What begins at `at`, with `expected` bytes for the reply that is waited for (nil: not known, or a request is looked for).
-- Answers "whole" and its bytes, "wait" and how many bytes tell more, or "stray".
local function nextFrame(bytes, at, toServer, expected, isLost)
    local available = #bytes - at
    if not magicMayFollow(bytes, at) then
        return "stray"
    elseif available < ENVELOPE_BYTES then
        return "wait", ENVELOPE_BYTES
    end
    local announced = ENVELOPE_BYTES + u16(bytes, at + 4)
    if u16(bytes, at + 2) ~= 0 and (toServer or (isLost and announced ~= expected)) then
        return "stray"
    end
    if toServer or not expected or announced == expected then
        return available >= announced and "whole" or "wait", announced
    end
    -- The length field is not what the request lets expect: it may be wrong, or the reply is another one. Where the bytes
    -- end, or the next frame begins, tells.
    if available == announced or (available > announced and magicMayFollow(bytes, at + announced)) then
        return "whole", announced
    elseif available == expected or (available > expected and magicMayFollow(bytes, at + expected)) then
        return "whole", expected
    elseif available >= announced then
        return "whole", announced
    elseif available < expected then
        return "wait", min(announced, expected)
    end
    return "wait", announced
end

-- Where after `at` a frame seems to begin; the end of the bytes if nowhere.
local function findFrame(bytes, at, toServer, expected)
    local from = at + 2
    while true do
        local found = find(bytes, MAGIC .. "\0\0", from, true)
        if not found then
            return #bytes
        end
        local rest = #bytes - (found - 1)
        if rest >= ENVELOPE_BYTES then
            local announced = ENVELOPE_BYTES + u16(bytes, found - 1 + 4)
            local isWhole = rest == announced or (rest > announced and magicMayFollow(bytes, found - 1 + announced))
            if toServer and isWhole and beginsWithRequest(sub(bytes, found)) then
                return found - 1
            elseif not toServer and (isWhole or announced == expected) then
                return found - 1
            end
        end
        from = found + 1
    end
end

local function removeFirst(list, record)
    for i = 1, #list do
        if list[i] == record then
            table.remove(list, i)
            return
        end
    end
end

local function giveUp(stream, request)
    removeFirst(stream.open, request)
    stream.givenUp[#stream.givenUp + 1] = request
    if #stream.givenUp > MOST_GIVEN_UP then
        table.remove(stream.givenUp, 1)
    end
end

-- A frame that never got whole: the bytes that came are all of it.
local function cutShort(stream, side, reason)
    local part = side.part
    if part then
        part.cut = reason
        if part.request and reason ~= "gap" then
            part.request.cutIn = part.last
            removeFirst(stream.open, part.request)
            removeFirst(stream.givenUp, part.request)
        end
    end
    side.pending, side.pendingBytes, side.need, side.part = nil, 0, nil, nil
end

-- What is there of the reply to a request, when that is not all of it.
local function partOf(stream, request)
    for _, side in pairs(stream.sides) do
        if side.part and side.part.request == request then
            return string.format(", of which %s had come", plural(side.part.bytes, "byte"))
        end
    end
    return ""
end

local function acceptRequest(stream, bytes, segment)
    local service = byte(bytes, ENVELOPE_BYTES + 1)
    local request = { kind = "request", service = service, frame = segment.number, time = segment.time }
    local wrong = wrongInRequest(bytes)
    if wrong then
        request.isMalformed = true
        say(request, e.malformed, "Malformed request: " .. wrong)
    elseif service == READ then
        request.heads = stream.lastHeads
        local heads = sub(bytes, ITEMS_AT + 1, #bytes - SESSION_BYTES)
        if request.heads ~= heads then -- one copy of a request that comes again and again
            request.heads = heads
            stream.lastHeads = heads
        end
    end
    request.expected = expectedReply(service, request.heads)
    if not wrong and (service == READ or service == WRITE) and stream.session then
        if sub(bytes, -SESSION_BYTES) ~= stream.session then
            say(request, e.wrong_session,
                "Session bytes of another handshake than that of frame " .. stream.sessionFrame)
        end
    end
    if service == HELLO then
        stream.open, stream.givenUp = {}, {} -- of the session before, or of another connection on the same ports
    end
    for i = #stream.open, 1, -1 do
        local earlier = stream.open[i]
        if request.time - earlier.time >= SENT_AHEAD_SECONDS then
            say(request, e.given_up, string.format("Sent when the request in frame %d had waited %s for its reply%s",
                earlier.frame, milliseconds(request.time - earlier.time), partOf(stream, earlier)))
            giveUp(stream, earlier)
        end
    end
    stream.open[#stream.open + 1] = request
    stream.lastRequestFrame = segment.number
    stream.isBlind = nil
    return request
end

local function firstThatFits(requests, length, status)
    for i = 1, #requests do
        if fits(requests[i], length, status) then
            return requests[i]
        end
    end
end

local function newestThatFits(requests, length, status)
    for i = #requests, 1, -1 do
        if fits(requests[i], length, status) then
            return requests[i]
        end
    end
end

local function answer(stream, reply, request, segment)
    reply.request = request
    reply.time = segment.time - request.time
    request.replyIn = segment.number
    removeFirst(stream.open, request)
    removeFirst(stream.givenUp, request)
end

local function judgeSize(reply, request, length, announced)
    if length ~= announced then
        say(reply, e.wrong_length, string.format("Wrong length field: it says %s, and %d are there, as asked for",
            plural(announced - ENVELOPE_BYTES, "byte"), length - ENVELOPE_BYTES))
    elseif fits(request, length, reply.status) then
        return
    elseif length < request.expected then
        say(reply, e.short, string.format("Short reply: %s, the request in frame %d asks for %d",
            plural(length, "byte"), request.frame, request.expected))
    else
        say(reply, e.wrong_size, string.format("Reply of another size: %s, the request in frame %d asks for %d",
            plural(length, "byte"), request.frame, request.expected))
    end
end

local function judgeTime(reply, request, wasGivenUp)
    if wasGivenUp then
        say(reply, e.late, string.format("Late reply: %s after the request in frame %d, which was given up in between",
            milliseconds(reply.time), request.frame))
    elseif p.late_ms > 0 and reply.time * 1000 > p.late_ms then
        say(reply, e.late, string.format("Late reply: %s after the request in frame %d",
            milliseconds(reply.time), request.frame))
    end
end

local function acceptReply(stream, bytes, segment)
    local length = #bytes
    local announced = ENVELOPE_BYTES + u16(bytes, 4)
    local reply = { kind = "reply" }
    local status = length >= STATUS_REPLY_BYTES and u16(bytes, 6) or nil
    reply.status = status
    if status and status ~= 0 then
        say(reply, e.refused, string.format("Refused: status word 0x%04X (%s)", status,
            STATUS_WORDS[status] or "unknown"))
    end
    if u16(bytes, 2) ~= 0 then
        say(reply, e.upper_length, "Upper half of the length not 0: clients look at the lower half alone")
    end
    local isRepeat = stream.lastReply == bytes
    local request = firstThatFits(stream.open, length, status)
    local late = not request and newestThatFits(stream.givenUp, length, status)
    if request then
        local other = newestThatFits(stream.givenUp, length, status)
        answer(stream, reply, request, segment)
        judgeSize(reply, request, length, announced)
        judgeTime(reply, request, false)
        if other and not other.isMentioned then
            other.isMentioned = true
            say(reply, e.either, string.format("May as well be the late reply to the request in frame %d", other.frame))
        end
    elseif late then
        answer(stream, reply, late, segment)
        judgeSize(reply, late, length, announced)
        judgeTime(reply, late, true)
    elseif isRepeat then
        reply.repeatOf = stream.lastReplyFrame
        say(reply, e.repeated, "Repeated reply: the same bytes as in frame " .. stream.lastReplyFrame)
    elseif #stream.open > 0 then
        request = stream.open[1]
        answer(stream, reply, request, segment)
        judgeSize(reply, request, length, announced)
        judgeTime(reply, request, false)
    elseif not stream.lastRequestFrame or stream.isBlind then
        say(reply, e.before, "The request to this reply is not in the capture")
    else
        say(reply, e.unasked, "Unasked reply: no request waits for one")
    end
    if reply.request or not isRepeat then
        stream.lastReplyFrame = segment.number
    end
    stream.lastReply = bytes
    if reply.request and reply.request.service == SYMBOLS and status == 0 and length >= SYMBOLS_REPLY_BYTES then
        stream.session = sub(bytes, SESSION_AT + 1, SESSION_AT + SESSION_BYTES):reverse()
        stream.sessionFrame = segment.number
    end
    return reply
end

-- Bytes of a frame that goes on in a later segment.
local function keepPart(stream, side, bytes, need, segment, toServer)
    if not side.part then
        side.part = { begun = segment.number, toServer = toServer }
        if not toServer then
            local request = stream.open[1]
            side.part.request = request
            if request then
                request.part = side.part
            end
        end
    end
    local part = side.part
    part.last = segment.number
    part.bytes = #bytes
    if #bytes >= ENVELOPE_BYTES then
        part.announced = ENVELOPE_BYTES + u16(bytes, 4)
    end
    side.pending, side.pendingBytes, side.need = { bytes }, #bytes, need
    return part
end

-- Does a new frame begin here, although the one before is not whole yet?
local function beginsAnew(stream, side, data, toServer)
    if toServer then
        return isRequest(data)
    end
    if #data < ENVELOPE_BYTES or sub(data, 1, 4) ~= MAGIC .. "\0\0" then
        return false
    end
    if not stream.lastRequestFrame or stream.lastRequestFrame <= side.part.begun then
        return false
    end
    local announced = ENVELOPE_BYTES + u16(data, 4)
    local status = #data >= STATUS_REPLY_BYTES and u16(data, 6) or nil
    return firstThatFits(stream.open, announced, status) ~= nil
end

local function expectedOn(stream, toServer)
    local request = not toServer and stream.open[1]
    return request and request.expected or nil
end

-- Cuts what came on one side into pieces of this segment: {kind, at, length, record or part, bytes when in several segments}.
local function cutIntoPieces(stream, side, data, toServer, segment)
    local pieces = {}
    if side.part and beginsAnew(stream, side, data, toServer) then
        cutShort(stream, side, "short")
    end
    local earlier = side.pendingBytes or 0
    if side.part and earlier + #data < side.need then
        side.pending[#side.pending + 1] = data
        side.pendingBytes = earlier + #data
        side.part.last, side.part.bytes = segment.number, side.pendingBytes
        return { { kind = "part", at = 0, length = #data, part = side.part } }
    end
    local bytes, begun = data, side.part and side.part.begun
    if side.part then
        side.pending[#side.pending + 1] = data
        bytes = table.concat(side.pending)
    end
    local at = 0
    while at < #bytes do
        local isDirected = stream.server ~= nil
        if not isDirected and beginsWithRequest(at == 0 and bytes or sub(bytes, at + 1)) then
            stream.server, isDirected, toServer = segment.target, true, true
        end
        local expected = expectedOn(stream, toServer)
        local what, count = nextFrame(bytes, at, toServer, expected, side.isLost)
        local begin = max(at, earlier) - earlier -- in this segment
        if what == "whole" then
            local frame = at == 0 and #bytes == count and bytes or sub(bytes, at + 1, at + count)
            local record = toServer and acceptRequest(stream, frame, segment) or acceptReply(stream, frame, segment)
            side.isLost = nil
            local isOfEarlier = at < earlier
            if isOfEarlier and side.part then
                side.part.whole = segment.number
                side.part = nil
            end
            pieces[#pieces + 1] = { kind = record.kind, at = begin, length = max(0, at + count - earlier - begin), record = record,
                bytes = isOfEarlier and frame, begun = isOfEarlier and begun }
            at = at + count
        elseif what == "wait" then
            local rest = at == 0 and bytes or sub(bytes, at + 1)
            if at >= earlier then
                side.part = nil
            end
            local part = keepPart(stream, side, rest, count, segment, toServer)
            pieces[#pieces + 1] = { kind = "part", at = begin, length = #data - begin, part = part }
            return pieces
        else
            local till = max(findFrame(bytes, at, toServer, expected), earlier + 1)
            if side.part then
                side.part.cut = "stray"
                side.part = nil
            end
            pieces[#pieces + 1] = { kind = "stray", at = begin, length = till - earlier - begin,
                isRest = side.beginIsMissing }
            if side.beginIsMissing and not toServer then
                stream.open = {} -- that was the reply
            end
            side.isLost = true
            at = till
        end
        side.beginIsMissing = nil
    end
    side.pending, side.pendingBytes, side.need, side.part = nil, 0, nil, nil
    return pieces
end

-- Bytes are missing before this segment: whatever was going on is unknown now.
local function passOverGap(stream, side, toServer)
    cutShort(stream, side, "gap")
    side.isLost, side.beginIsMissing = true, true
    if toServer then
        stream.isBlind = true
        return
    end
    for i = 1, #stream.open do
        stream.open[i].isLost = true
    end
    stream.open = { stream.open[#stream.open] } -- if a reply is still to come, then to the last
end

-- The pieces of one segment; its bytes are in `data`, of which the wire had `reported`.
local function analyse(stream, pinfo, source, target, data, reported)
    local side = stream.sides[source]
    if not side then
        side = { pendingBytes = 0, beginIsMissing = true, isLost = true }
        stream.sides[source] = side
    end
    local toServer = stream.server ~= nil and stream.server == target
    local segment = { number = pinfo.number, time = pinfo.rel_ts, target = target }
    local sequence, length = lastOf(tcpSequence), lastOf(tcpLength)
    local skipped, missing = 0, 0
    if sequence and length and length == reported then
        if side.next then
            local distance = sequenceDistance(sequence, side.next)
            skipped = min(max(-distance, 0), reported)
            missing = max(distance, 0)
        end
        local last = (sequence + reported) % 4294967296
        if not side.next or sequenceDistance(last, side.next) > 0 then
            side.next = last
        end
    elseif side.next then
        side.next = (side.next + reported) % 4294967296 -- put together by TCP, which has left no gap
    end
    if not toServer then
        local client, acknowledged = stream.sides[target], lastOf(tcpAcknowledged)
        local unseen = client and client.next and acknowledged and sequenceDistance(acknowledged, client.next) or 0
        stream.isBlind = stream.isBlind or unseen > 1 -- a FIN counts as one
    end
    if missing > 0 then
        passOverGap(stream, side, toServer)
    end
    local pieces = {}
    if skipped > 0 then
        pieces[1] = { kind = "again", at = 0, length = min(skipped, #data) }
        data = sub(data, skipped + 1)
    end
    if #data > 0 then
        local cut = cutIntoPieces(stream, side, data, toServer, segment)
        for i = 1, #cut do
            cut[i].at = cut[i].at + skipped
            pieces[#pieces + 1] = cut[i]
        end
    end
    pieces.missing = missing > 0 and missing or nil
    if skipped + #data < reported then
        pieces.isSliced = true
        cutShort(stream, side, "sliced")
        side.isLost = true
    end
    return pieces
end

-- A segment that is one whole frame and nothing to say of the segment itself: the frame alone is kept.
local function compact(pieces, length)
    local only = pieces[1]
    if #pieces == 1 and only.record and not only.bytes and only.at == 0 and only.length == length and
        not pieces.missing and not pieces.isSliced then
        return only.record
    end
    return pieces
end

-- ---------------------------------------------------------------------------------------------------------------------
-- Values, as ac500-host writes them
-- ---------------------------------------------------------------------------------------------------------------------

-- The fewest digits that mean the same number: 21.5, 1e-07, 1e+16.
local function shortest(number, isSame, leastDigits, mostDigits)
    if number ~= number then
        return "nan"
    elseif number == math.huge or number == -math.huge then
        return number > 0 and "inf" or "-inf"
    elseif number == 0 then
        return 1 / number < 0 and "-0" or "0"
    end
    local text
    local isSubnormal = math.abs(number) < (mostDigits == 9 and 2 ^ -126 or 2 ^ -1022)
    for digits = isSubnormal and 1 or leastDigits, mostDigits do
        text = string.format("%." .. (digits - 1) .. "e", number)
        if digits == mostDigits or isSame(tonumber(text)) then
            break
        end
    end
    local sign, first, rest, exponent = text:match("^(-?)(%d)%.?(%d*)e([-+]%d+)$")
    local digits = (first .. rest):gsub("0+$", "")
    exponent = tonumber(exponent)
    if exponent < -4 or exponent >= 16 then
        local mantissa = #digits > 1 and sub(digits, 1, 1) .. "." .. sub(digits, 2) or digits
        return string.format("%s%se%s%02d", sign, mantissa, exponent < 0 and "-" or "+", math.abs(exponent))
    elseif exponent < 0 then
        return sign .. "0." .. ("0"):rep(-exponent - 1) .. digits
    elseif #digits <= exponent + 1 then
        return sign .. digits .. ("0"):rep(exponent + 1 - #digits)
    end
    return sign .. sub(digits, 1, exponent + 1) .. "." .. sub(digits, exponent + 2)
end

local function realText(range)
    local bytes = range:raw()
    return shortest(range:float(), function(other) return Struct.pack(">f", other) == bytes end, 6, 9)
end

local function longRealText(range)
    local number = range:float()
    return shortest(number, function(other) return other == number end, 15, 17)
end

-- Latin-1 up to the first zero byte, quoted.
local function textOf(range)
    local bytes = range:raw()
    local stop = find(bytes, "\0", 1, true)
    bytes = stop and sub(bytes, 1, stop - 1) or bytes
    return '"' .. bytes:gsub('[%z\1-\31"\\\127-\255]', function(character)
        local code = byte(character)
        if character == '"' or character == "\\" then
            return "\\" .. character
        elseif code < 32 or (code >= 127 and code < 160) then
            return string.format("\\x%02X", code)
        end
        return string.char(192 + floor(code / 64), 128 + code % 64)
    end) .. '"'
end

local function hexOf(range)
    return "0x" .. range:raw():gsub(".", function(character) return string.format("%02X", byte(character)) end)
end

local function durationText(ms)
    local text = ""
    for _, unit in ipairs({ { "d", 86400000 }, { "h", 3600000 }, { "m", 60000 }, { "s", 1000 }, { "ms", 1 } }) do
        local count = floor(ms / unit[2])
        if count > 0 then
            text = text .. string.format("%d%s", count, unit[1])
            ms = ms - count * unit[2]
        end
    end
    return "T#" .. (text == "" and "0ms" or text)
end

local function clockText(ms)
    local seconds = floor(ms / 1000)
    local text = string.format("%02d:%02d:%02d", floor(seconds / 3600), floor(seconds / 60) % 60, seconds % 60)
    return ms % 1000 == 0 and text or text .. string.format(".%03d", ms % 1000)
end

local function dateText(seconds)
    return os.date("!%Y-%m-%d", seconds)
end

local function signed(range) return string.format("%d", range:int()) end
local function unsigned(range) return string.format("%d", range:uint()) end

-- By type: bytes of an element, and its text. Those of strings and bits are in readMap.
local TYPES = {
    BOOL = { 1, function(range) return range:uint() ~= 0 and "TRUE" or "FALSE" end },
    SINT = { 1, signed },
    INT = { 2, signed },
    DINT = { 4, signed },
    LINT = { 8, function(range) return tostring(range:int64()) end },
    USINT = { 1, unsigned },
    UINT = { 2, unsigned },
    UDINT = { 4, unsigned },
    ULINT = { 8, function(range) return tostring(range:uint64()) end },
    BYTE = { 1, hexOf },
    WORD = { 2, hexOf },
    DWORD = { 4, hexOf },
    LWORD = { 8, hexOf },
    REAL = { 4, realText },
    LREAL = { 8, longRealText },
    TIME = { 4, function(range) return durationText(range:uint()) end },
    TOD = { 4, function(range) return "TOD#" .. clockText(range:uint()) end },
    DATE = { 4, function(range) return "D#" .. dateText(range:uint()) end },
    DT = { 4, function(range)
        local seconds = range:uint()
        return "DT#" .. dateText(seconds) .. "-" .. clockText(seconds % 86400 * 1000)
    end },
}

-- ---------------------------------------------------------------------------------------------------------------------
-- Maps of variables
-- ---------------------------------------------------------------------------------------------------------------------

local MAP_HEADER = "ac500-wireshark-map 1"

local function dimensionsOf(text)
    local dimensions = {}
    for lower, upper in text:gmatch("(-?%d+)%.%.(-?%d+)") do
        lower, upper = tonumber(lower), tonumber(upper)
        dimensions[#dimensions + 1] = { lower = lower, count = upper - lower + 1 }
    end
    return dimensions
end

local function decimalsOf(spelling)
    local mantissa, exponent = spelling:match("^([^eE]*)[eE]?(.*)$")
    local fraction = mantissa:match("%.(%d*)$") or ""
    return max(#fraction - (tonumber(exponent) or 0), 0)
end

-- What people see in place of a number of the PLC: with the decimals of the scale, as long as that tells which value it is.
local function scaledText(isReal, isLongReal, factorText, offsetText)
    local factor, offset = tonumber(factorText), tonumber(offsetText)
    local decimals = max(decimalsOf(factorText), decimalsOf(offsetText))
    return function(range, number)
        local exact = number * factor + offset
        local isExact = function(other) return other == exact end
        if isLongReal or decimals > 15 or exact ~= exact or exact == math.huge or exact == -math.huge then
            return shortest(exact, isExact, 15, 17)
        end
        local text, isSame
        if isReal then
            local single = Struct.unpack(">f", Struct.pack(">f", exact))
            text = shortest(single, function(other) return Struct.pack(">f", other) == Struct.pack(">f", single) end, 6, 9)
            isSame = Struct.pack(">f", (tonumber(text) - offset) / factor) == range:raw()
        else
            text = string.format("%." .. decimals .. "f", exact)
            isSame = floor((tonumber(text) - offset) / factor + 0.5) == number
        end
        text = isSame and text or shortest(exact, isExact, 15, 17)
        return text:match("^%-[0.]+$") and sub(text, 2) or text
    end
end

-- Adds to a variable what people know of its values: unit, scale, names.
local function addNotes(variable, typeName, unit, factor, offset, names)
    local text = variable.text
    if factor and offset and tonumber(factor) and tonumber(offset) and tonumber(factor) ~= 0 then
        local isReal = typeName == "REAL"
        local scaled = scaledText(isReal, typeName == "LREAL", factor, offset)
        local isFloat = isReal or typeName == "LREAL"
        local isSigned = typeName:match("^[SD]?INT$") and true
        variable.text = function(range)
            return scaled(range, isFloat and range:float() or isSigned and range:int() or range:uint())
        end
    elseif next(names) then
        variable.text = function(range)
            local isLong, isSigned = range:len() == 8, typeName:match("^[SDL]?INT$")
            local number = isLong and (isSigned and range:int64() or range:uint64()) or isSigned and range:int() or range:uint()
            if typeName == "BOOL" then
                number = min(number, 1)
            end
            return names[isLong and tostring(number) or string.format("%d", number)] or text(range)
        end
        variable.names = names
    end
    if unit ~= "" then
        local plain = variable.text
        variable.unit = unit
        variable.text = plain and function(range) return plain(range) .. " " .. unit end
    end
end

-- One line: area, "byte" or "bit", address, type, dimensions, tag; then unit, factor, offset, names. What is wrong with it on
-- failure.
local function variableOf(line)
    local cells = {}
    for cell in (line .. "\t"):gmatch("([^\t]*)\t") do
        cells[#cells + 1] = cell
    end
    local area, unit, address, typeName, dimensions, tag = cells[1], cells[2], cells[3], cells[4], cells[5], cells[6]
    if not tag or tag == "" or not (area:match("^%d+$") and address:match("^%d+$")) then
        return nil, "no variable"
    end
    local variable = { tag = tag, address = tonumber(address), dimensions = dimensionsOf(dimensions) }
    local characters = typeName:match("^C?STRING%((%d+)%)$")
    if unit == "bit" and typeName == "BIT" then
        variable.isBit = true
    elseif unit == "byte" and characters then
        variable.width, variable.text, variable.isText = tonumber(characters) + 1, textOf, true
    elseif unit == "byte" and TYPES[typeName] then
        variable.width, variable.text = TYPES[typeName][1], TYPES[typeName][2]
    else
        return nil, "unknown type " .. typeName
    end
    variable.count = 1
    for _, dimension in ipairs(variable.dimensions) do
        if dimension.count < 1 then
            return nil, "wrong bounds " .. dimensions
        end
        variable.count = variable.count * dimension.count
    end
    if variable.isBit then
        variable.first = floor(variable.address / 16) * 2
        variable.stop = floor((variable.address + variable.count + 15) / 16) * 2
    else
        variable.first = variable.address
        variable.stop = variable.address + variable.count * variable.width
    end
    local names = {}
    for i = 10, #cells do
        local value, name = cells[i]:match("^(-?%d+)=(.*)$")
        if not value then
            return nil, "no name of a value: " .. cells[i]
        end
        names[value] = name
    end
    addNotes(variable, typeName, cells[7] or "", cells[8], cells[9], names)
    return variable, nil, tonumber(area)
end

-- By area: variables by their first byte, and with each the farthest end of all up to it, so that a search may stop.
local function finishMap(areas)
    for _, area in pairs(areas) do
        table.sort(area, function(a, b)
            if a.first ~= b.first then
                return a.first < b.first
            end
            return a.order < b.order
        end)
        local farthest = 0
        for i = 1, #area do
            farthest = max(farthest, area[i].stop)
            area[i].farthest = farthest
        end
    end
    return areas
end

local function readMap(fileName)
    local file, problem = io.open(fileName, "r")
    if not file then
        return nil, problem
    end
    local areas, count = {}, 0
    for line in file:lines() do
        line = line:gsub("\r$", "")
        count = count + 1
        if count == 1 then
            if line ~= MAP_HEADER then
                file:close()
                return nil, fileName .. ":1: does not begin with \"" .. MAP_HEADER ..
                    "\"; make it with ac500-host symbols export --wireshark"
            end
        elseif line ~= "" then
            local variable, wrong, area = variableOf(line)
            if not variable then
                file:close()
                return nil, string.format("%s:%d: %s; make it with ac500-host symbols export --wireshark", fileName, count,
                    wrong)
            end
            variable.order = count
            areas[area] = areas[area] or {}
            areas[area][#areas[area] + 1] = variable
        end
    end
    file:close()
    if count == 0 then
        return nil, fileName .. ": is empty"
    end
    return finishMap(areas)
end

local mapFiles -- by address, address:port or "*": file name; read when the first PLC needs it
local mapsRead -- by file name: the map, or false
local layouts, layoutCount = {}, 0

local function forgetMaps()
    mapFiles, mapsRead, layouts, layoutCount = {}, {}, {}, 0
    for entry in p.maps:gmatch("[^;]+") do
        entry = entry:match("^%s*(.-)%s*$")
        local address, fileName = entry:match("^([%x.:%[%]]+)=(.+)$")
        if address and not address:find("[.:]") then
            address, fileName = nil, nil -- a file whose name has an equals sign
        end
        if address and address:match("^%[[^%]]*%]$") then
            address = sub(address, 2, -2)
        end
        if entry ~= "" then
            mapFiles[address or "*"] = fileName or entry
        end
    end
end

local function mapNamed(fileName)
    if mapsRead[fileName] == nil then
        local map, problem = readMap(fileName)
        mapsRead[fileName] = map or false
        if problem then
            report_failure("ac500: the map of variables cannot be used: " .. problem)
        end
    end
    return mapsRead[fileName] or nil
end

-- The map of the PLC with this address; nil without one.
local function mapOf(address, port)
    if next(mapFiles) == nil then
        return nil
    end
    address = tostring(address)
    local withPort = address:find(":", 1, true) and "[" .. address .. "]:" .. port or address .. ":" .. port
    local fileName = mapFiles[withPort] or mapFiles[address] or mapFiles["*"]
    return fileName and mapNamed(fileName)
end

-- "[2,3]" for an element, counted from 0 in the order of memory; "" for a variable that is no array.
local function indicesOf(variable, element)
    local indices = {}
    for i = #variable.dimensions, 1, -1 do
        local dimension = variable.dimensions[i]
        indices[i] = tostring(dimension.lower + element % dimension.count)
        element = floor(element / dimension.count)
    end
    return #indices > 0 and "[" .. table.concat(indices, ",") .. "]" or ""
end

local function bitText(variable, isSet)
    local text = isSet and "1" or "0"
    text = variable.names and variable.names[text] or text
    return variable.unit and text .. " " .. variable.unit or text
end

local function addBits(places, variable, address, size)
    for element = 0, variable.count - 1 do
        local bit = variable.address + element
        local inWord = bit % 16
        local at = floor(bit / 16) * 2 + (inWord < 8 and 1 or 0) - address
        if at >= 0 and at < size then
            local weight = 2 ^ (inWord % 8)
            places[#places + 1] = { variable.tag .. indicesOf(variable, element), at, 1,
                function(range) return bitText(variable, floor(range:uint() / weight) % 2 == 1) end }
        end
        if #places > MOST_DRAWN then
            return
        end
    end
end

local function addElements(places, variable, address, size)
    local firstElement = max(0, floor((address - variable.address) / variable.width))
    for element = firstElement, variable.count - 1 do
        local at = variable.address + element * variable.width - address
        if at >= size or #places > MOST_DRAWN then
            return
        end
        local from, till = max(at, 0), min(at + variable.width, size)
        local tag = variable.tag .. indicesOf(variable, element)
        if till - from == variable.width then
            places[#places + 1] = { tag, from, till - from, variable.text }
        elseif till > from then
            places[#places + 1] = { string.format("%s, bytes %d..%d of %d", tag, from - at, till - at - 1, variable.width),
                from, till - from, variable.isText and textOf or hexOf }
        end
    end
end

-- The first variable of an area, as they are sorted, behind which all lie beyond `address`, or hold it.
local function firstReaching(variables, address)
    local low, high = 1, #variables + 1
    while low < high do
        local middle = floor((low + high) / 2)
        if variables[middle].farthest > address then
            high = middle
        else
            low = middle + 1
        end
    end
    return low
end

local function findPlaces(variables, address, size)
    local places = {}
    local i = firstReaching(variables, address)
    while variables[i] and variables[i].first < address + size and #places <= MOST_DRAWN do
        if variables[i].stop > address then
            (variables[i].isBit and addBits or addElements)(places, variables[i], address, size)
        end
        i = i + 1
    end
    return places
end

-- A write of one byte is that of a bit when a BIT variable has that bit address and no other variable covers the byte of
-- the same number: the frame does not tell.
local function findWrittenPlaces(variables, address, size)
    if size == 1 then
        local bits, bytes = {}, 0
        for i = firstReaching(variables, floor(address / 16) * 2), #variables do
            local variable = variables[i]
            if variable.first > address then
                break
            elseif not variable.isBit then
                bytes = bytes + (variable.stop > address and 1 or 0)
            elseif variable.address <= address and address < variable.address + variable.count then
                bits[#bits + 1] = { variable.tag .. indicesOf(variable, address - variable.address), 0, 1,
                    function(range) return bitText(variable, range:uint() ~= 0) end }
            end
        end
        if #bits > 0 and bytes == 0 then
            return bits
        end
    end
    return findPlaces(variables, address, size)
end

local NO_VARIABLES = {}

-- The variables within bytes [address, address + size) of an area: {tag, offset, bytes, text of a range}, by address.
local function placesOf(map, isWrite, area, address, size)
    local key = table.concat({ tostring(map), isWrite and "w" or "r", area, address, size }, " ")
    local places = layouts[key]
    if not places then
        places = (isWrite and findWrittenPlaces or findPlaces)(map[area] or NO_VARIABLES, address, size)
        if layoutCount >= MOST_CACHED then
            layouts, layoutCount = {}, 0
        end
        layouts[key] = places
        layoutCount = layoutCount + 1
    end
    return places
end

-- ---------------------------------------------------------------------------------------------------------------------
-- Drawing
-- ---------------------------------------------------------------------------------------------------------------------

-- Building lines that nobody looks at costs most of the time. `wantsHead`: the lines of frames; `wantsBody`: those of their
-- items and variables, too. The packet list's text and the warnings are made in any case.
local wantsHead, wantsBody
local handle -- of this dissector
local BODY = { "magic", "length", "item_count", "item", "area", "address", "size", "lead", "data", "tag", "value", "session", "file",
    "fixed", "boot_count", "most_request", "most_reply", "device", "version", "payload", "part", "part_in", "begun_in", "stray" }

local function findWhatIsWanted(root)
    handle = handle or Dissector.get("ac500")
    wantsBody = root.visible
    wantsHead = wantsBody or root:referenced(handle)
    for i = 1, wantsHead and not wantsBody and #BODY or 0 do
        wantsBody = wantsBody or root:referenced(f[BODY[i]])
    end
end

-- The tags of a frame for the packet list: the first few, and how many more there are.
local function newSummary()
    return { count = 0 }
end

local function addToSummary(summary, text)
    summary.count = summary.count + 1
    if summary.count <= 3 then
        summary[summary.count] = text
    end
end

local function summaryText(summary)
    if summary.count == 0 then
        return ""
    end
    local more = summary.count > 3 and string.format(" and %d more", summary.count - 3) or ""
    return ": " .. table.concat(summary, ", ") .. more
end

-- Variables and their values within the bytes of an item; of a frame nobody looks at, what the packet list shows.
local function drawVariables(item, bytes, places, summary)
    for i = 1, #places do
        local place = places[i]
        if place[2] + place[3] <= bytes:len() then
            if summary.count >= MOST_DRAWN then
                item:add_proto_expert_info(e.more, "More variables than are shown")
                return
            elseif wantsBody or summary.count < 3 then
                local range = bytes:range(place[2], place[3])
                local value = place[4](range)
                local text = place[1] .. " = " .. value
                addToSummary(summary, text)
                if wantsBody then
                    local line = item:add(f.tag, range, place[1])
                    line.text = text
                    line:add(f.value, range, value)
                end
            else
                summary.count = summary.count + 1
            end
        end
    end
end

-- Of a read, what is asked for; its values come with the reply.
local function drawNames(item, range, places, summary)
    for i = 1, #places do
        if summary.count >= MOST_DRAWN then
            item:add_proto_expert_info(e.more, "More variables than are shown")
            return
        end
        addToSummary(summary, places[i][1])
        if wantsBody then
            item:add(f.tag, range, places[i][1])
        end
    end
end

local function itemText(number, area, address, size)
    return string.format("Item %d: area %d, address %d, %s", number, area, address, plural(size, "byte"))
end

-- The head of an item as it stands in a request; `tree` itself when nobody looks.
local function drawItemHead(tree, range, number, area, address, size)
    if not wantsBody then
        return tree
    end
    local item = tree:add(f.item, range)
    item.text = itemText(number, area, address, size)
    item:add(f.area, range:range(0, 2))
    item:add(f.address, range:range(2, 4))
    item:add(f.size, range:range(6, 4))
    return item
end

local function drawReadRequest(tree, tvb, map, summary)
    local count = tvb:range(8, 4):uint()
    for number = 1, (wantsBody or map) and count or 0 do
        local at = ITEMS_AT + (number - 1) * ITEM_HEAD_BYTES
        local head = tvb:range(at, ITEM_HEAD_BYTES)
        local area, address, size = tvb:range(at, 2):uint(), tvb:range(at + 2, 4):uint(), tvb:range(at + 6, 4):uint()
        local item = drawItemHead(tree, head, number, area, address, size)
        if map and size <= MAX_PAYLOAD_BYTES then
            drawNames(item, head, placesOf(map, false, area, address, size), summary)
        end
    end
    return plural(count, "item")
end

local function drawWriteRequest(tree, tvb, map, summary)
    local count = tvb:range(8, 4):uint()
    local at = ITEMS_AT
    for number = 1, (wantsBody or map) and count or 0 do
        local area, address, size = tvb:range(at, 2):uint(), tvb:range(at + 2, 4):uint(), tvb:range(at + 6, 4):uint()
        local item = drawItemHead(tree, tvb:range(at, ITEM_HEAD_BYTES + size), number, area, address, size)
        if size > 0 then
            local data = tvb:range(at + ITEM_HEAD_BYTES, size)
            if wantsBody then
                item:add(f.data, data)
            end
            if map then
                drawVariables(item, data, placesOf(map, true, area, address, size), summary)
            end
        end
        at = at + ITEM_HEAD_BYTES + size
    end
    return plural(count, "item")
end

-- Printable characters up to the first zero byte.
local function plainText(range)
    return (range:raw():gsub("%z.*", ""):gsub("[^\32-\126]", "?"))
end

local function drawHandshakeRequest(tree, tvb, service)
    if service == HELLO then
        if wantsBody then
            tree:add(f.fixed, tvb:range(ENVELOPE_BYTES + 1))
        end
        return nil
    end
    local length = tvb:range(8, 2):uint()
    local name = length > 0 and plainText(tvb:range(10, length)) or ""
    if wantsBody then
        tree:add(f.file, tvb:range(8, 2 + length), name)
    end
    return name
end

-- Everything behind the service; returns what the packet list says of it.
local function drawRequestBody(tree, tvb, record, map, summary)
    if record.isMalformed then
        if wantsBody then
            tree:add(f.payload, tvb:range(ENVELOPE_BYTES))
        end
        return "malformed"
    elseif record.service ~= READ and record.service ~= WRITE then
        return drawHandshakeRequest(tree, tvb, record.service)
    end
    if wantsBody then
        tree:add(f.item_count, tvb:range(8, 4))
    end
    local text = (record.service == READ and drawReadRequest or drawWriteRequest)(tree, tvb, map, summary)
    if wantsBody then
        tree:add(f.session, tvb:range(tvb:len() - SESSION_BYTES, SESSION_BYTES))
    end
    return text
end

local function drawReadReply(tree, tvb, request, map, summary)
    local items = itemsOfRead(request.heads)
    if wantsBody then
        tree:add(f.item_count, tvb:range(8, 4))
    end
    local at = ITEMS_AT
    for i = 1, (wantsBody or map) and #items or 0, 3 do
        local area, address, size = items[i], items[i + 1], items[i + 2]
        if at + 1 + size > tvb:len() then
            break
        end
        local item = tree
        if wantsBody then
            item = tree:add(f.item, tvb:range(at, 1 + size))
            item.text = itemText((i + 2) / 3, area, address, size)
            local none = tvb:range(at, 0)
            item:add(f.area, none, area):set_generated()
            item:add(f.address, none, address):set_generated()
            item:add(f.size, none, size):set_generated()
            item:add(f.lead, tvb:range(at, 1))
        end
        if size > 0 then
            local data = tvb:range(at + 1, size)
            if wantsBody then
                item:add(f.data, data)
            end
            if map then
                drawVariables(item, data, placesOf(map, false, area, address, size), summary)
            end
        end
        at = at + 1 + size
    end
end

local function drawHandshakeReply(tree, tvb, service)
    if service == HELLO and tvb:len() >= 88 then
        tree:add(f.boot_count, tvb:range(12, 4))
        tree:add(f.most_request, tvb:range(16, 4))
        tree:add(f.most_reply, tvb:range(20, 4))
        tree:add(f.device, tvb:range(24, 32), plainText(tvb:range(24, 32)))
        tree:add(f.version, tvb:range(56, 32), plainText(tvb:range(56, 32)))
    elseif service == SYMBOLS and tvb:len() >= SESSION_AT + SESSION_BYTES then
        tree:add(f.boot_count, tvb:range(12, 4))
        tree:add(f.session, tvb:range(SESSION_AT, SESSION_BYTES))
    end
end

-- Everything behind the status word.
local function drawReplyBody(tree, tvb, request, map, summary)
    local service = request and request.service
    if service == READ and request.heads and tvb:len() == request.expected and tvb:len() >= ITEMS_AT then
        drawReadReply(tree, tvb, request, map, summary)
    elseif not wantsBody then
        return
    elseif service == HELLO or service == SYMBOLS then
        drawHandshakeReply(tree, tvb, service)
    elseif tvb:len() > STATUS_REPLY_BYTES then
        tree:add(f.payload, tvb:range(STATUS_REPLY_BYTES))
    end
end

local function serviceName(service)
    return SERVICES[service] or string.format("Service 0x%02X", service or 0)
end

local function drawNotes(tree, notes)
    for i = 1, #(notes or {}) do
        tree:add_proto_expert_info(notes[i][1], notes[i][2])
    end
end

local function drawRequest(tree, tvb, record, pinfo, map)
    if wantsHead then
        tree:add(f.service, tvb:range(ENVELOPE_BYTES, min(1, tvb:len() - ENVELOPE_BYTES)), record.service or 0)
    end
    local summary = newSummary()
    local about = drawRequestBody(tree, tvb, record, map, summary)
    local replyIn = record.replyIn or record.cutIn or (pinfo.visited and record.part and not record.part.cut and record.part.last)
    if replyIn then
        if wantsHead then
            tree:add(f.reply_in, replyIn):set_generated()
        end
    elseif pinfo.visited and record.isLost then
        tree:add_proto_expert_info(e.gap, "Bytes are missing in the capture where the reply may be")
    elseif pinfo.visited then
        tree:add_proto_expert_info(e.unanswered, "Request without a reply in this capture")
    end
    drawNotes(tree, record.notes)
    return serviceName(record.service) .. " request" .. (about and ", " .. about or "") .. summaryText(summary)
end

local function drawReply(tree, tvb, record, _, map)
    local request = record.request
    local summary = newSummary()
    if request and wantsHead then
        tree:add(f.service, tvb:range(0, 0), request.service or 0):set_generated()
        tree:add(f.request_in, request.frame):set_generated()
        local seconds = floor(record.time)
        tree:add(f.reply_time, NSTime.new(seconds, floor((record.time - seconds) * 1e9 + 0.5))):set_generated()
    end
    if record.repeatOf and wantsHead then
        tree:add(f.repeat_of, record.repeatOf):set_generated()
    end
    local isRefused = record.status and record.status ~= 0
    if tvb:len() >= STATUS_REPLY_BYTES then
        if wantsHead then
            tree:add(f.status, tvb:range(ENVELOPE_BYTES, 2))
        end
        drawReplyBody(tree, tvb, request, map, summary)
    elseif tvb:len() > ENVELOPE_BYTES and wantsBody then
        tree:add(f.payload, tvb:range(ENVELOPE_BYTES))
    end
    drawNotes(tree, record.notes)
    local name = request and serviceName(request.service) .. " reply" or
        record.repeatOf and "Repeated reply" or "Reply"
    local outcome = isRefused and string.format(", refused 0x%04X", record.status) or ""
    return name .. outcome .. summaryText(summary)
end

local function drawFrame(tree, tvb, record, pinfo, map)
    if wantsBody then
        tree:add(f.magic, tvb:range(0, 2))
        tree:add(f.length, tvb:range(2, 4))
    end
    local draw = record.kind == "request" and drawRequest or drawReply
    return draw(tree, tvb, record, pinfo, map)
end

local function partText(part)
    return part.announced and string.format("%d of %d bytes", part.bytes, part.announced) or
        plural(part.bytes, "byte") .. " of it"
end

-- A part says what became of its frame once that is known: in a single pass it never is.
local function drawPart(tree, range, piece, pinfo)
    local part = piece.part
    tree:add(f.part, range)
    if part.begun ~= pinfo.number then
        tree:add(f.begun_in, part.begun):set_generated()
    end
    if part.whole then
        tree:add(f.part_in, part.whole):set_generated()
        return "Part of a frame"
    end
    local isEnd = part.last == pinfo.number and (part.cut == "short" or (part.cut == nil and pinfo.visited))
    local name = part.toServer and "request" or "reply"
    if isEnd then
        if part.request then
            tree:add(f.service, range:range(0, 0), part.request.service or 0):set_generated()
            tree:add(f.request_in, part.request.frame):set_generated()
        end
        tree:add_proto_expert_info(part.toServer and e.malformed or e.short,
            string.format("Short %s: %s", name, partText(part)))
        return string.format("Short %s, %s", name, partText(part))
    elseif part.last == pinfo.number then
        return string.format("Part of a %s, %s%s", name, partText(part), part.cut and "" or " so far")
    end
    return "Part of a frame"
end

local function drawStray(tree, range, piece)
    tree:add(f.stray, range)
    if piece.isRest then
        tree:add_proto_expert_info(e.before, "The beginning of the frame of these bytes is not in the capture")
    else
        tree:add_proto_expert_info(e.stray_bytes, "Bytes that belong to no frame")
    end
    return "Bytes of no frame"
end

local function addInfo(pinfo, text, isFirst)
    if isFirst then
        pinfo.cols.info:set(text)
        pinfo.cols.info:fence()
    else
        pinfo.cols.info:append(" | " .. text)
        pinfo.cols.info:fence()
    end
end

local function drawPiece(tvb, pinfo, root, piece, map)
    local range = tvb:range(piece.at, piece.length)
    local frame, whole = range, nil
    if piece.bytes then
        whole = ByteArray.new(piece.bytes, true):tvb("Frame of several segments")
        frame = whole:range()
    end
    local tree = root:add(ac500, frame)
    local text
    if piece.record then
        text = drawFrame(tree, whole or (piece.length == tvb:len() and tvb) or frame:tvb(), piece.record, pinfo, map)
        if piece.begun then
            tree:add(f.begun_in, piece.begun):set_generated()
        end
    elseif piece.kind == "part" then
        text = drawPart(tree, range, piece, pinfo)
    elseif piece.kind == "again" then
        tree:add(f.part, range)
        tree:add_proto_expert_info(e.again, "Retransmitted bytes, shown where they came first")
        text = "Retransmitted bytes"
    else
        text = drawStray(tree, range, piece)
    end
    if wantsHead then
        tree:append_text(", " .. text)
    end
    return tree, text
end

local function draw(tvb, pinfo, root, plan, map, isFirst)
    findWhatIsWanted(root)
    if plan.kind then
        plan = { { at = 0, length = tvb:len(), record = plan } }
    end
    for i = 1, #plan do
        local tree, text = drawPiece(tvb, pinfo, root, plan[i], map)
        if i == 1 and plan.missing then
            tree:add_proto_expert_info(e.gap, plural(plan.missing, "byte") ..
                " before this packet are missing; if they come later, allow TCP to reassemble out-of-order segments")
        end
        if i == #plan and plan.isSliced then
            tree:add_proto_expert_info(e.sliced, "Packet cut off by the capture")
        end
        addInfo(pinfo, text, isFirst and i == 1)
    end
end

-- ---------------------------------------------------------------------------------------------------------------------
-- The dissector
-- ---------------------------------------------------------------------------------------------------------------------

-- The plan of this segment. A packet may hold several segments: on later visits they come in the order of the first.
local function planOf(tvb, pinfo, stream, source, target)
    local number = pinfo.number
    if not pinfo.visited then
        local plan = compact(analyse(stream, pinfo, source, target, tvb:raw(), tvb:reported_len()), tvb:len())
        if plans[number] == nil then
            plans[number] = plan
        else
            plans[number].more = plans[number].more or {}
            table.insert(plans[number].more, plan)
        end
        return plan
    end
    local plan = plans[number]
    if plan and plan.more then
        local turn = tonumber(pinfo.private["ac500"] or "0")
        pinfo.private["ac500"] = tostring(turn + 1)
        plan = turn == 0 and plan or plan.more[turn]
    end
    return plan
end

-- Does the plan lie within these bytes? On a later visit TCP hands over the same ones.
local function isWithin(plan, length)
    if plan.kind then
        return length >= ENVELOPE_BYTES
    end
    for i = 1, #plan do
        if plan[i].at + plan[i].length > length then
            return false
        end
    end
    return true
end

local function dissect(tvb, pinfo, root)
    if tvb:len() == 0 then
        return 0
    end
    local isFirst = tostring(pinfo.cols.protocol) ~= "AC500"
    pinfo.cols.protocol:set("AC500")
    local source, target, connection = keysOf(pinfo)
    local stream = streamOf(pinfo, source, target, connection)
    local plan = planOf(tvb, pinfo, stream, source, target)
    if not plan or not isWithin(plan, tvb:len()) then
        -- Seen before the connection was recognised: what the segment tells by itself.
        local alone = { sides = {}, open = {}, givenUp = {}, server = stream.server }
        plan = analyse(alone, pinfo, source, target, tvb:raw(), tvb:reported_len())
    end
    local map
    if stream.server == target then
        map = mapOf(pinfo.dst, pinfo.dst_port)
    else
        map = mapOf(pinfo.src, pinfo.src_port)
    end
    draw(tvb, pinfo, root, plan, map, isFirst)
    return tvb:len()
end

-- On other ports a connection is known by its first whole request.
local function recognise(tvb, pinfo, root)
    if tvb:len() <= ENVELOPE_BYTES or tvb:range(0, 2):uint() ~= 0xBBBB or not beginsWithRequest(tvb:raw()) then
        return false
    end
    pinfo.conversation = ac500
    dissect(tvb, pinfo, root)
    return true
end

local registeredPorts

local function registerPorts()
    local tcpPorts = DissectorTable.get("tcp.port")
    if registeredPorts then
        tcpPorts:remove(registeredPorts, ac500)
    end
    registeredPorts = p.ports
    plcPorts = {}
    for from, till in tostring(p.ports):gmatch("(%d+)-?(%d*)") do
        for port = tonumber(from), tonumber(till) or tonumber(from) do
            plcPorts[port] = true
        end
    end
    tcpPorts:add(registeredPorts, ac500)
end

local function forgetFile()
    streams, plans = {}, {}
    itemCache, itemCacheCount = {}, 0
    forgetMaps()
end

ac500.dissector = dissect
ac500.init = forgetFile
function ac500.prefs_changed()
    registerPorts()
    forgetMaps()
end
forgetFile()
registerPorts()
ac500:register_heuristic("tcp", recognise)
