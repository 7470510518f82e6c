-- Moves a belt of lines. `parts.ID.say(lines)` puts others on it.

local belt, window = part:find("belt"), part:find("window")
local pattern, bullet = part:find("item"), part:find("bullet")
local gap = parameters.size * 2
local mostLines = 100
local speed = math.max(1, parameters.speed)

local function run(from)
  belt.x = from
  belt:animate{ x = -belt.width, duration = (from + belt.width) / speed, easing = "linear",
    done = function() run(window.width) end }
end

function say(lines)
  for _, child in ipairs(belt:children()) do child:remove() end
  local x = 0
  for i, line in ipairs(lines) do
    if i > mostLines then break end
    if i > 1 then
      bullet:clone(belt, { x = x, y = part.height / 2 - 4 })
      x = x + gap
    end
    local item = pattern:clone(belt, { x = x, text = line:sub(1, 1000) })
    x = x + item.textWidth + gap
  end
  belt.width = math.max(1, x)
  run(belt.x ~= 0 and belt.x or gap)
end

local function split(text)
  local lines = {}
  for line in text:gmatch("[^\r\n]+") do lines[#lines + 1] = line end
  return lines
end

local function read()
  local text, reason = files.read(parameters.source)
  if text and utf8.len(text) then say(split(text)) else trace(parameters.source .. ": " .. (reason or "is no text")) end
end

if parameters.title ~= "" then
  local width = part:find("title").textWidth + 56
  part:find("badge"):set{ width = width, visible = true }
  window:set{ x = width, width = math.max(0, part.width - width) }
end
if parameters.source == "" then
  say(split(parameters.text))
else
  say{}
  read()
  files.watch(parameters.source, read)
end
