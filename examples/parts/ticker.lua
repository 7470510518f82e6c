-- Moves a belt of lines. `parts.ID.say(lines)` puts others on it.

local belt, window = part:find("belt"), part:find("window")
local pattern, bullet = part:find("item"), part:find("bullet")
local gap = parameters.size * 2
local mostLines = 100
local speed = math.max(1, parameters.speed)

-- The first bytes of a text, up to the end of a letter; nothing of what is no text.
local function cut(text, most)
  if not utf8.len(text) then return "" end
  if #text <= most then return text end
  while most > 0 and text:byte(most + 1) & 0xC0 == 0x80 do most = most - 1 end
  return text:sub(1, most)
end

local function run(from)
  -- A shorter text may be out of sight already.
  if from <= -belt.width then from = window.width end
  belt.x = from
  belt:animate{ x = -belt.width, duration = (from + belt.width) / speed, easing = "linear",
    done = function() run(window.width) end }
end

function say(lines)
  local good = {}
  for _, line in ipairs(lines) do
    if #good >= mostLines then break end
    local shown = type(line) == "string" and cut(line, 1000) or ""
    if shown ~= "" then good[#good + 1] = shown end
  end
  for _, child in ipairs(belt:children()) do child:remove() end
  local x = 0
  for i, line in ipairs(good) do
    if i > 1 then
      bullet:clone(belt, { x = x, y = part.height / 2 - 4 })
      x = x + gap
    end
    local item = pattern:clone(belt, { x = x, text = line })
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
