-- Draws bars, a line or a pie. `parts.ID.use(list)` draws a list that a script has made.

local source = parameters.source
local mostEntries = 40
local top = parameters.title ~= "" and 44 or 10

local palette = {}
for colour in parameters.palette:gmatch("#%x+") do palette[#palette + 1] = colour end
if #palette == 0 then palette[1] = "#4cc9f0" end
local function colour(i) return palette[(i - 1) % #palette + 1] end

local function shown(value)
  local whole = math.tointeger(value)
  return (whole and tostring(whole) or string.format("%.1f", value)) .. parameters.unit
end

-- The first bytes of a text, up to the end of a letter; nothing of what is no text.
local function cut(text, most)
  if not utf8.len(text) then return "" end
  if #text <= most then return text end
  while most > 0 and text:byte(most + 1) & 0xC0 == 0x80 do most = most - 1 end
  return text:sub(1, most)
end

-- Held from the beginning: clones have the ids of their patterns.
local plot, patterns = part:find("plot"), {}
for _, id in ipairs{ "bar", "rule", "curve", "slice", "dot", "number", "name" } do patterns[id] = part:find(id) end
local function add(pattern, properties) return patterns[pattern]:clone(plot, properties) end

local function drawBars(list, least, most)
  local bottom, width = part.height - 28, part.width / #list
  local scale = (bottom - top - 24) / (most - least)
  local zero = bottom + least * scale
  for i, entry in ipairs(list) do
    local height = math.abs(entry.value) * scale
    local y = entry.value < 0 and zero or zero - height
    add("bar", { x = (i - 1) * width + width * 0.15, y = y, width = width * 0.7, height = height, fill = colour(1) })
    add("number", { x = (i - 1) * width, y = y - 22, width = width, text = shown(entry.value) })
    add("name", { x = (i - 1) * width, y = bottom + 6, width = width, text = entry.label })
  end
  add("rule", { points = { 0, zero, part.width, zero } })
end

local function drawLine(list, least, most)
  local bottom, step = part.height - 28, part.width / #list
  local scale = (bottom - top - 24) / (most - least)
  local points = {}
  for i, entry in ipairs(list) do
    points[#points + 1] = (i - 0.5) * step
    points[#points + 1] = bottom - (entry.value - least) * scale
  end
  for i = 0, 4 do
    local y = bottom - (bottom - top - 24) * i / 4
    add("rule", { points = { 0, y, part.width, y } })
  end
  add("curve", { points = points, stroke = colour(1) })
  for i, entry in ipairs(list) do
    local x, y = points[i * 2 - 1], points[i * 2]
    add("dot", { x = x - 6, y = y - 6, fill = colour(1) })
    add("number", { x = x - step / 2, y = y - 28, width = step, text = shown(entry.value) })
    add("name", { x = x - step / 2, y = bottom + 6, width = step, text = entry.label })
  end
end

local function drawPie(list)
  local size = math.min(part.height - top, part.width * 0.5)
  local sum, from = 0, 0
  for _, entry in ipairs(list) do sum = sum + math.max(0, entry.value) end
  if sum <= 0 then return end
  local row = math.min(34, size / #list)
  for i, entry in ipairs(list) do
    local to = from + math.max(0, entry.value) / sum * 360
    add("slice", { y = top, width = size, height = size, from = from, to = to, thickness = size * 0.24,
      fill = colour(i) })
    local y = top + size / 2 - #list * row / 2 + (i - 1) * row
    add("dot", { x = size + 28, y = y + row / 2 - 6, fill = colour(i) })
    add("name", { x = size + 52, y = y, width = part.width - size - 140, height = row, align = "left",
      valign = "middle", text = entry.label })
    add("number", { x = part.width - 80, y = y, width = 80, height = row, align = "right", valign = "middle",
      text = shown(entry.value) })
    from = to
  end
end

function use(data)
  if type(data) ~= "table" then return nil, "is no list" end
  local list, least, most = {}, 0, 0
  for _, entry in ipairs(data) do
    local value = type(entry) == "table" and tonumber(entry[parameters.value])
    -- Neither what is no number nor what no screen could show.
    if value and value == value and math.abs(value) < 1e12 and #list < mostEntries then
      local name = entry[parameters.label]
      list[#list + 1] = { value = value, label = type(name) == "string" and cut(name, 100) or "" }
      least, most = math.min(least, value), math.max(most, value)
    end
  end
  for _, child in ipairs(plot:children()) do child:remove() end
  part:find("nothing").visible = #list == 0
  if #list == 0 then return true end
  if most == least then most = least + 1 end
  if parameters.kind == "pie" then
    drawPie(list)
  elseif parameters.kind == "line" then
    drawLine(list, least, most)
  else
    drawBars(list, least, most)
  end
  return true
end

local function read()
  local data, reason
  if source:match("%.csv$") then data, reason = files.csv(source) else data, reason = files.json(source) end
  if data then data, reason = use(data) end
  if not data then trace(source .. ": " .. tostring(reason)) end
end

if source ~= "" then
  use{}
  read()
  files.watch(source, read)
end
