-- Wireshark dissector for the port-security management protocol: ONC RPC
-- program 0x2000000d, version 1, on UDP and on TCP (record marking). Names
-- every procedure and decodes every argument and result record as
-- portsecurity.x defines them.
--
--   tshark -X lua_script:tools/wireshark/portsecurity.lua -r capture.pcapng
--   (or copy it to ~/.local/lib/wireshark/plugins/)
--
-- The program's ports come from the port mapper, and the kernel may hand out
-- one that Wireshark gives to another protocol. So the dissector follows the
-- port mapper's GETPORT and GETADDR answers for the program and takes the
-- ports they name; it also knows the program's messages by looking (a call
-- for the program, or a reply to such a call in the same conversation), and
-- keeps a conversation once it has seen a call in it. Values the server would
-- read differently from what is on the wire (a u_short from its low 16 bits,
-- a bool other than 0 or 1 as true) are shown as the server reads them and
-- flagged; so are bytes after a record. A datagram another dissector took
-- before any of this could apply is still decoded, in a late pass.

local function versionAtLeast(major, minor)
  local a, b = get_version():match("^(%d+)%.(%d+)")
  a, b = tonumber(a), tonumber(b)
  return a ~= nil and (a > major or (a == major and b >= minor))
end
if not versionAtLeast(3, 0) then
  error("portsecurity.lua needs Wireshark 3.0 or newer (this is " .. get_version() ..
        "): upgrade Wireshark")
end

local PROGRAM = 0x2000000d
local VERSION = 1

local procedureNames = {
  [0] = "NULL",
  [1] = "SET_STATE",
  [2] = "SET_INTERFACE_STATE",
  [3] = "SET_MAC_LIMIT_DYNAMIC",
  [4] = "SET_MAC_DEFAULT_LIMIT_DYNAMIC",
  [5] = "SET_MAC_LIMIT_STATIC",
  [6] = "SET_MAC_DEFAULT_LIMIT_STATIC",
  [7] = "ADD_MAC_STATIC",
  [8] = "DEL_MAC_STATIC",
  [9] = "MOVE_DYNAMIC",
  [10] = "GET_STATE",
  [11] = "GET_INTERFACE_SETTINGS",
  [12] = "GET_INTERFACE_SETTINGS_ALL",
  [13] = "GET_MACS_DYNAMIC",
  [14] = "GET_MACS_STATIC",
  [15] = "GET_LAST_VIOLATION",
  [16] = "ADD_VLAN_MAC_LIMIT_DYNAMIC",
  [17] = "DEL_VLAN_MAC_LIMIT_DYNAMIC",
  [18] = "ADD_MAC_STATIC_VIRTUAL_PORT",
  [819] = "DEL_MAC_STATIC_VIRTUAL_PORT",
}

local resultWords = {
  [0] = "ok",
  [1] = "failed",
  [2] = "static limit reached",
  [3] = "not found",
  [5] = "not reportable in this state",
  [6] = "per-VLAN limits full",
  [7] = "out of range",
  [8] = "no per-VLAN limit",
  [10] = "refused in profile mode",
}

local interfaceTypes = {
  [0] = "unknown", [1] = "ethernet", [2] = "management", [3] = "internal",
  [4] = "gpon", [5] = "gem", [6] = "lag",
}

local acceptWords = {
  [0] = "success", [1] = "program unavailable", [2] = "program version mismatch",
  [3] = "procedure unavailable", [4] = "garbage arguments", [5] = "system error",
}

local rejectWords = { [0] = "RPC version mismatch", [1] = "authentication error" }

local authWords = {
  [0] = "ok", [1] = "bad credential", [2] = "credential rejected", [3] = "bad verifier",
  [4] = "verifier rejected", [5] = "too weak", [6] = "invalid response verifier",
  [7] = "failed",
}

local onOff = { [0] = "off", [1] = "on" }

local ps = Proto("portsecurity", "Port-security management protocol")
local f = {
  xid = ProtoField.uint32("portsecurity.xid", "XID", base.HEX),
  kind = ProtoField.string("portsecurity.kind", "Message"),
  procedure = ProtoField.uint32("portsecurity.procedure", "Procedure", base.DEC, procedureNames),
  accept = ProtoField.uint32("portsecurity.accept", "Accept state", base.DEC, acceptWords),
  reject = ProtoField.uint32("portsecurity.reject", "Denied", base.DEC, rejectWords),
  auth = ProtoField.uint32("portsecurity.auth", "Authentication state", base.DEC, authWords),
  low = ProtoField.uint32("portsecurity.low", "Lowest version supported", base.DEC),
  high = ProtoField.uint32("portsecurity.high", "Highest version supported", base.DEC),
  interface = ProtoField.uint32("portsecurity.interface", "Interface", base.DEC),
  state = ProtoField.uint32("portsecurity.state", "State", base.DEC, onOff),
  limit = ProtoField.uint32("portsecurity.limit", "Limit", base.DEC),
  vlan = ProtoField.uint16("portsecurity.vlan", "VLAN", base.DEC),
  vport = ProtoField.uint32("portsecurity.vport", "Virtual port", base.DEC),
  mac = ProtoField.ether("portsecurity.mac", "MAC"),
  entry = ProtoField.none("portsecurity.entry", "MAC entry"),
  name = ProtoField.string("portsecurity.name", "Interface name"),
  type = ProtoField.uint32("portsecurity.type", "Interface type", base.DEC, interfaceTypes),
  limitDynamic = ProtoField.uint32("portsecurity.limit_dynamic", "Dynamic limit", base.DEC),
  limitStatic = ProtoField.uint32("portsecurity.limit_static", "Static limit", base.DEC),
  settings = ProtoField.none("portsecurity.settings", "Interface settings"),
  vlanLimit = ProtoField.none("portsecurity.vlan_limit", "Per-VLAN limit"),
  count = ProtoField.uint32("portsecurity.count", "Count", base.DEC),
  result = ProtoField.uint32("portsecurity.result", "Result", base.DEC, resultWords),
}
ps.fields = f

local e = {
  short = ProtoExpert.new("portsecurity.short", "Record ends early", expert.group.MALFORMED,
                          expert.severity.ERROR),
  range = ProtoExpert.new("portsecurity.range", "Value out of its type's range",
                          expert.group.PROTOCOL, expert.severity.WARN),
  trailing = ProtoExpert.new("portsecurity.trailing", "Bytes after the record",
                             expert.group.MALFORMED, expert.severity.WARN),
  denied = ProtoExpert.new("portsecurity.denied", "Call denied", expert.group.RESPONSE_CODE,
                           expert.severity.WARN),
  unaccepted = ProtoExpert.new("portsecurity.unaccepted", "Call not carried out",
                               expert.group.RESPONSE_CODE, expert.severity.WARN),
}
ps.experts = e

-- Calls seen so far, by conversation and transaction id: replies carry no
-- procedure number, and transaction ids repeat across clients.
local callProcedure = {}

-- The client's and the server's ends of a message, whichever way it goes.
local function conversationKey(pinfo, isCall, xid)
  local client, server = tostring(pinfo.src) .. ":" .. pinfo.src_port,
                         tostring(pinfo.dst) .. ":" .. pinfo.dst_port
  if not isCall then client, server = server, client end
  return string.format("%d %s %s %08x", pinfo.port_type, client, server, xid)
end

-- Frames decoded in the dissection under way, so that the late pass below
-- leaves them alone.
local decodedFrames = {}

-- Ports the port mapper named for the program, by transport, each with the
-- dissector that had the port before (false for none): handed back on reload,
-- and given what on that port is not this program's.
local takenPorts = { tcp = {}, udp = {} }

-- Port-mapper lookups for the program, by the frame of the call: the
-- transport asked about.
local lookups = {}

function ps.init()
  for transport, ports in pairs(takenPorts) do
    local byPort = DissectorTable.get(transport .. ".port")
    for port, before in pairs(ports) do
      if before then byPort:add(port, before) else byPort:remove(port, ps) end
    end
  end
  callProcedure, decodedFrames, takenPorts, lookups = {}, {}, { tcp = {}, udp = {} }, {}
end

-- A truncated record raises this, caught once per message.
local Short = {}

local function need(tvb, offset, length)
  if offset + length > tvb:len() then error(Short) end
end

local function u32(tvb, offset)
  need(tvb, offset, 4)
  return tvb(offset, 4):uint()
end

-- Field readers: each adds its item and returns the offset after it.
local function addU32(tree, field, tvb, offset)
  need(tvb, offset, 4)
  tree:add(field, tvb(offset, 4))
  return offset + 4
end

local function flagRange(item, wire, read, typeName)
  item:add_proto_expert_info(e.range, string.format(
    "%u is out of range for %s: the server reads %u", wire, typeName, read))
end

-- An XDR unsigned short is a whole 4-byte word; the server keeps its low 16
-- bits.
local function addU16(tree, field, tvb, offset)
  need(tvb, offset, 4)
  local wire = tvb(offset, 4):uint()
  local item = tree:add(field, tvb(offset, 4), wire % 0x10000)
  if wire > 0xffff then flagRange(item, wire, wire % 0x10000, "an unsigned short") end
  return offset + 4
end

-- An XDR bool: the server reads anything but 0 as true.
local function addBool(tree, field, tvb, offset)
  need(tvb, offset, 4)
  local wire = tvb(offset, 4):uint()
  local item = tree:add(field, tvb(offset, 4), math.min(wire, 1))
  if wire > 1 then flagRange(item, wire, 1, "a bool") end
  return offset + 4
end

-- Fixed arrays of char are encoded one 4-byte word per character; the server
-- keeps the low 8 bits of each. Returns the bytes and the words out of range.
local function charArray(tvb, offset, count)
  need(tvb, offset, 4 * count)
  local bytes, wide = {}, {}
  for i = 0, count - 1 do
    local wire = tvb(offset + 4 * i, 4):uint()
    bytes[#bytes + 1] = wire % 256
    if wire > 0xff then wide[#wide + 1] = wire end
  end
  return bytes, wide
end

local function flagWideChars(item, wide)
  for _, wire in ipairs(wide) do flagRange(item, wire, wire % 256, "a char") end
end

local function addMac(tree, tvb, offset)
  local bytes, wide = charArray(tvb, offset, 6)
  local text = string.format("%02x:%02x:%02x:%02x:%02x:%02x", table.unpack(bytes))
  flagWideChars(tree:add(f.mac, tvb(offset, 24), Address.ether(text)), wide)
  return offset + 24, text
end

local function addName(tree, tvb, offset)
  local bytes, wide = charArray(tvb, offset, 16)
  local chars = {}
  for _, byte in ipairs(bytes) do
    if byte == 0 then break end
    chars[#chars + 1] = string.char(byte)
  end
  flagWideChars(tree:add(f.name, tvb(offset, 64), table.concat(chars)), wide)
  return offset + 64
end

local function addEntry(tree, tvb, offset)
  local item = tree:add(f.entry, tvb(offset, math.min(28, tvb:len() - offset)))
  local text
  offset, text = addMac(item, tvb, offset)
  local vlan = u32(tvb, offset)
  offset = addU16(item, f.vlan, tvb, offset)
  item:append_text(string.format(": %s VLAN %d", text, vlan))
  return offset
end

local function addCounted(tree, tvb, offset, each)
  local count = u32(tvb, offset)
  offset = addU32(tree, f.count, tvb, offset)
  for _ = 1, count do offset = each(tree, tvb, offset) end
  return offset
end

local function addVlanLimit(tree, tvb, offset)
  local item = tree:add(f.vlanLimit, tvb(offset, math.min(8, tvb:len() - offset)))
  offset = addU16(item, f.vlan, tvb, offset)
  return addU32(item, f.limit, tvb, offset)
end

local function addSettings(tree, tvb, offset)
  local item = tree:add(f.settings, tvb(offset, math.min(84, tvb:len() - offset)))
  offset = addName(item, tvb, offset)
  offset = addU32(item, f.type, tvb, offset)
  offset = addBool(item, f.state, tvb, offset)
  offset = addU32(item, f.limitDynamic, tvb, offset)
  offset = addU32(item, f.limitStatic, tvb, offset)
  return addCounted(item, tvb, offset, addVlanLimit)
end

local function field(which)
  return function(tree, tvb, offset) return addU32(tree, which, tvb, offset) end
end
local interface, limit, vport, result = field(f.interface), field(f.limit), field(f.vport),
  field(f.result)
local function state(tree, tvb, offset) return addBool(tree, f.state, tvb, offset) end
local function vlan(tree, tvb, offset) return addU16(tree, f.vlan, tvb, offset) end
local function list(each)
  return function(tree, tvb, offset) return addCounted(tree, tvb, offset, each) end
end

-- Argument and result records of each procedure, in wire order.
local arguments = {
  [0] = {}, [1] = { state }, [2] = { interface, state }, [3] = { interface, limit },
  [4] = { interface }, [5] = { interface, limit }, [6] = { interface },
  [7] = { interface, addEntry }, [8] = { interface, addEntry }, [9] = { interface },
  [10] = {}, [11] = { interface }, [12] = {}, [13] = { interface }, [14] = { interface },
  [15] = { interface }, [16] = { interface, vlan, limit }, [17] = { interface, vlan },
  [18] = { interface, addEntry, vport }, [819] = { interface, addEntry, vport },
}
local results = {
  [0] = {}, [10] = { state, result }, [11] = { addSettings, result },
  [12] = { list(addSettings), result }, [13] = { list(addEntry), result },
  [14] = { list(addEntry), result }, [15] = { addEntry, result },
}
for procedure in pairs(arguments) do results[procedure] = results[procedure] or { result } end

-- The offset after an opaque_auth (flavour, length, body padded to 4).
local function skipAuth(tvb, offset)
  local length = u32(tvb, offset + 4)
  return offset + 8 + 4 * math.ceil(length / 4)
end

-- Is this RPC message ours? Returns the procedure and whether it is a call.
-- A call is known by its program alone: one with another RPC or program
-- version is still ours, and its reply says why it was refused.
local function identify(tvb, pinfo)
  if tvb:len() < 12 then return nil end
  local xid, kind = tvb(0, 4):uint(), tvb(4, 4):uint()
  if kind == 0 then
    if tvb:len() < 40 or tvb(12, 4):uint() ~= PROGRAM then return nil end
    return tvb(20, 4):uint(), true
  elseif kind == 1 then
    return callProcedure[conversationKey(pinfo, false, xid)], false
  end
  return nil
end

-- The call's arguments; nothing is decoded for another RPC or program version.
local function dissectCall(tvb, item, procedure)
  local rpcVersion, version = tvb(8, 4):uint(), tvb(16, 4):uint()
  if rpcVersion ~= 2 or version ~= VERSION then
    item:append_text(string.format(" (RPC version %d, program version %d)", rpcVersion, version))
    return nil
  end
  local offset = skipAuth(tvb, skipAuth(tvb, 24))
  for _, read in ipairs(arguments[procedure] or {}) do offset = read(item, tvb, offset) end
  return offset
end

-- A refused call's reason, for the tree and the Info column.
local function refusal(item, tvb, offset, field, words, code)
  local reason = words[code] or ("code " .. code)
  offset = addU32(item, field, tvb, offset)
  if code == 0 and field == f.reject or code == 2 and field == f.accept then
    local low, high = u32(tvb, offset), u32(tvb, offset + 4)
    offset = addU32(item, f.high, tvb, addU32(item, f.low, tvb, offset))
    reason = string.format("%s, %d to %d supported", reason, low, high)
  elseif code == 1 and field == f.reject then
    local auth = u32(tvb, offset)
    offset = addU32(item, f.auth, tvb, offset)
    reason = reason .. ": " .. (authWords[auth] or ("code " .. auth))
  end
  item:add_proto_expert_info(field == f.reject and e.denied or e.unaccepted, reason)
  return offset, reason
end

-- The reply's results; returns the offset after them and, for a call that
-- was not carried out, the reason.
local function dissectReply(tvb, item, procedure)
  if u32(tvb, 8) ~= 0 then
    local offset, reason = refusal(item, tvb, 12, f.reject, rejectWords, u32(tvb, 12))
    return offset, "denied: " .. reason
  end
  local offset = skipAuth(tvb, 12)
  local accept = u32(tvb, offset)
  if accept ~= 0 then return refusal(item, tvb, offset, f.accept, acceptWords, accept) end
  offset = addU32(item, f.accept, tvb, offset)
  for _, read in ipairs(results[procedure] or {}) do offset = read(item, tvb, offset) end
  return offset
end

-- One whole RPC message (without its record mark).
local function dissectMessage(tvb, pinfo, tree)
  decodedFrames[pinfo.number] = true
  local procedure, isCall = identify(tvb, pinfo)
  local xid = tvb(0, 4):uint()
  local name = procedureNames[procedure] or ("procedure " .. procedure)
  local item = tree:add(ps, tvb(), "Port-security, " .. (isCall and "call " or "reply ") .. name)
  item:add(f.xid, tvb(0, 4))
  item:add(f.kind, tvb(4, 4), isCall and "call" or "reply")
  local generated = item:add(f.procedure, isCall and tvb(20, 4) or tvb(0, 0), procedure)
  if not isCall then generated:set_generated() end
  if isCall then
    callProcedure[conversationKey(pinfo, true, xid)] = procedure
    -- The rest of this conversation is the program's, whatever its ports
    -- would say.
    pinfo.conversation = ps
  end
  local info = (isCall and "Call " or "Reply ") .. name
  local ok, failure = pcall(function()
    local offset, reason
    if isCall then
      offset = dissectCall(tvb, item, procedure)
    else
      offset, reason = dissectReply(tvb, item, procedure)
    end
    if reason then info = info .. " (" .. reason .. ")" end
    if offset and offset < tvb:len() then
      item:add_proto_expert_info(e.trailing, string.format("%d bytes after the record",
                                                           tvb:len() - offset))
    end
  end)
  if not ok then
    if failure ~= Short then error(failure, 0) end
    item:add_proto_expert_info(e.short)
  end
  pinfo.cols.protocol = "PORTSEC"
  pinfo.cols.info:set(info)
end

local function dissectDatagram(tvb, pinfo, tree)
  if identify(tvb, pinfo) == nil then return 0 end
  dissectMessage(tvb, pinfo, tree)
  return tvb:len()
end

-- TCP: records of one or more fragments, each behind a 4-byte mark whose top
-- bit says "last fragment". Asks TCP for more bytes until a record is whole.
local function dissectStream(tvb, pinfo, tree)
  local offset, total = 0, tvb:len()
  while offset < total do
    local at, fragments, last = offset, {}, false
    while not last do
      if total - at < 4 then
        pinfo.desegment_offset, pinfo.desegment_len = offset, DESEGMENT_ONE_MORE_SEGMENT
        return total
      end
      local mark = tvb(at, 4):uint()
      last = mark >= 0x80000000
      local length = mark % 0x80000000
      if total - at - 4 < length then
        pinfo.desegment_offset, pinfo.desegment_len = offset, length - (total - at - 4)
        return total
      end
      fragments[#fragments + 1] = tvb(at + 4, length)
      at = at + 4 + length
    end
    local message = fragments[1]:tvb()
    if #fragments > 1 then
      local bytes = ByteArray.new()
      for _, part in ipairs(fragments) do bytes:append(part:bytes()) end
      message = bytes:tvb("RPC record")
    end
    if identify(message, pinfo) == nil then return offset end
    dissectMessage(message, pinfo, tree)
    offset = at
  end
  return offset
end

local PT_TCP = 2

-- A stream is known by the start of its first record, before it is whole.
local function startsRecord(tvb, pinfo)
  return tvb:len() >= 8 and identify(tvb(4):tvb(), pinfo) ~= nil
end

-- For the conversations claimed and the ports taken. What on a taken port is
-- not the program's goes to the dissector that had the port.
function ps.dissector(tvb, pinfo, tree)
  local tcp = pinfo.port_type == PT_TCP
  if tcp and startsRecord(tvb, pinfo) then return dissectStream(tvb, pinfo, tree) end
  if not tcp and identify(tvb, pinfo) ~= nil then return dissectDatagram(tvb, pinfo, tree) end
  local before = takenPorts[tcp and "tcp" or "udp"][pinfo.match_uint]
  if before then return before:call(tvb, pinfo, tree) end
  return 0
end

ps:register_heuristic("udp", function(tvb, pinfo, tree)
  return dissectDatagram(tvb, pinfo, tree) > 0
end)

ps:register_heuristic("tcp", function(tvb, pinfo, tree)
  if not startsRecord(tvb, pinfo) then return false end
  dissectStream(tvb, pinfo, tree)
  return true
end)

-- The port mapper's answers, read from the built-in port-mapper dissector:
-- GETPORT (version 2) names a port, GETADDR (versions 3 and 4) a universal
-- address whose last two numbers are the port's high and low bytes.
local PORT_MAPPER, GETPORT_OR_GETADDR = 100000, 3
-- (In a reply, rpc.repframe is the frame of its call.)
local rpcKind, rpcProgram, rpcVersion, rpcProcedure, rpcCallFrame =
  Field.new("rpc.msgtyp"), Field.new("rpc.program"), Field.new("rpc.programversion"),
  Field.new("rpc.procedure"), Field.new("rpc.repframe")
local portProgram, portProtocol, portAnswer =
  Field.new("portmap.prog"), Field.new("portmap.proto"), Field.new("portmap.port")
local addrProgram, addrNetid, addrAnswer =
  Field.new("portmap.rpcb.prog"), Field.new("portmap.rpcb.netid"), Field.new("portmap.uaddr")
local transports = { [6] = "tcp", [17] = "udp", tcp = "tcp", tcp6 = "tcp", udp = "udp",
                     udp6 = "udp" }

local function value(field)
  local item = field()
  return item and item.value
end

local function takePort(transport, port, pinfo)
  local ports = takenPorts[transport]
  if ports[port] == nil then
    local byPort = DissectorTable.get(transport .. ".port")
    ports[port] = byPort:get_dissector(port) or false
    byPort:add(port, ps)
  end
  -- A UDP client sends its calls from the socket it asked on, often a
  -- reserved port another protocol owns: claim that conversation now, before
  -- its first call, by naming the program's port in place of the port mapper's.
  if transport == "udp" and pinfo.port_type ~= PT_TCP then
    local mapperPort = pinfo.src_port
    pinfo.src_port = port
    pinfo.conversation = ps
    pinfo.src_port = mapperPort
  end
end

local function followPortMapper(pinfo)
  if value(rpcProgram) ~= PORT_MAPPER or value(rpcProcedure) ~= GETPORT_OR_GETADDR then return end
  local getport = value(rpcVersion) == 2
  if value(rpcKind) == 0 then
    local program = value(getport and portProgram or addrProgram)
    local transport = transports[value(getport and portProtocol or addrNetid) or ""]
    if program == PROGRAM and transport then lookups[pinfo.number] = transport end
    return
  end
  local transport = lookups[value(rpcCallFrame) or -1]
  if not transport then return end
  local port = value(portAnswer)
  if not getport then
    local high, low = (value(addrAnswer) or ""):match("%.(%d+)%.(%d+)$")
    port = high and tonumber(high) * 256 + tonumber(low)
  end
  if port and port > 0 then takePort(transport, port, pinfo) end
end

-- Runs once every other dissector is done: reads the port mapper's answers,
-- and decodes a datagram of the program that another dissector took (one
-- whose lookup is not in the capture, from a port another protocol owns).
local udpPayload = Field.new("udp.payload")
local late = Proto("portsecurity_late", "Port-security on a port the port mapper named")

function late.dissector(tvb, pinfo, tree)
  if not pinfo.visited then followPortMapper(pinfo) end
  -- The mark is for this dissection of the frame only: a frame is dissected
  -- again (two passes, a click in the packet list).
  if decodedFrames[pinfo.number] then
    decodedFrames[pinfo.number] = nil
    return
  end
  local payload = udpPayload()
  if payload then dissectDatagram(payload.range:tvb(), pinfo, tree) end
end

register_postdissector(late, true)
