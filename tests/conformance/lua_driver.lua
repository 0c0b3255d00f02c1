-- Runs each line of standard input as Lua, with the library as `quarn`, and prints its first result, or the number of its
-- failure, as JSON.
local quarnex = require "quarnex"
local quarn = quarnex.create()

local function json(value)
  if type(value) == "string" then
    return '"' .. value:gsub('[%c"\\\128-\255]', function(c) return ("\\u%04x"):format(c:byte()) end) .. '"'
  elseif type(value) ~= "table" then
    return value == nil and "null" or tostring(value)
  end
  local parts, isList = {}, #value > 0
  for name, each in (isList and ipairs or pairs)(value) do
    parts[#parts + 1] = isList and json(each) or json(name) .. ":" .. json(each)
  end
  return (isList and "[%s]" or "{%s}"):format(table.concat(parts, ","))
end

for line in io.lines() do
  local called, result = pcall(assert(load("local quarn, quarnex = ...; return " .. line)), quarn, quarnex)
  if not called and type(result) ~= "table" and not result:find("bad argument", 1, true) then error(result) end
  print(json(called and {result = result} or {failure = result.number or "bad argument"}))
  io.flush()
end
