-- A card for each day. `parts.ID.use(list)` shows days that a script has found.

local row, pattern = part:find("row"), part:find("day")
local mostDays = math.max(1, math.min(14, math.floor(parameters.days)))

-- What a sky is made of, from the back.
local skies = {
  sun = { "sun" }, cloudy = { "half-sun", "cloud" }, cloud = { "cloud" }, rain = { "cloud", "rain" },
  storm = { "cloud", "storm" }, snow = { "cloud", "snow" }, fog = { "cloud", "fog" },
}

-- Held from the beginning: clones have the ids of their patterns.
local layers = {}
for _, names in pairs(skies) do
  for _, id in ipairs(names) do layers[id] = part:find(id) end
end

-- The first bytes of a text, up to the end of a letter; nothing of what is no text.
local function cut(text, most)
  if not utf8.len(text) then return "" end
  if #text <= most then return text end
  while most > 0 and text:byte(most + 1) & 0xC0 == 0x80 do most = most - 1 end
  return text:sub(1, most)
end

local function degrees(value) return type(value) == "number" and string.format("%.0f°", value) or "–" end

function use(data)
  if type(data) ~= "table" then return nil, "is no list" end
  local days = {}
  for _, day in ipairs(data) do
    if type(day) == "table" and type(day.day) == "string" and #days < mostDays then days[#days + 1] = day end
  end
  for _, child in ipairs(row:children()) do child:remove() end
  part:find("nothing").visible = #days == 0
  local step = part.width / math.max(1, #days)
  for i, day in ipairs(days) do
    local card = pattern:clone(row, { x = (i - 1) * step, width = step - 10 })
    for _, id in ipairs{ "card", "name", "high", "low" } do card:find(id).width = step - 10 end
    card:find("name").text = cut(day.day, 60)
    card:find("high").text, card:find("low").text = degrees(day.high), degrees(day.low)
    local sky = card:find("sky")
    sky.x = (step - 10 - 72) / 2
    for _, layer in ipairs(skies[day.sky] or {}) do layers[layer]:clone(sky) end
  end
  return true
end

local function read()
  local data, reason = files.json(parameters.source)
  if data then data, reason = use(data) end
  if not data then trace(parameters.source .. ": " .. tostring(reason)) end
end

if parameters.source ~= "" then
  use{}
  read()
  files.watch(parameters.source, read)
end
