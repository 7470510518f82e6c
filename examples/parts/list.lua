-- Shows some rows of a list at a time. `parts.ID.use(list)` shows a list that a script has made.

local source = parameters.source
local mostRows = 400 -- nobody waits for more
local headingHeight, footHeight = parameters.headings ~= "" and 30 or 0, 26
local page, list = 1, {}
-- Held from the beginning: clones have the ids of their patterns.
local stripe, pattern, heading = part:find("stripe"), part:find("cell"), part:find("heading")

local function words(text)
  local found = {}
  for word in text:gmatch("[^,]+") do found[#found + 1] = word:match("^%s*(.-)%s*$") end
  return found
end

local columns, headings, widths = words(parameters.columns), words(parameters.headings), words(parameters.widths)
local rowsOnPage = math.max(1, math.floor(parameters.rows))
local rowHeight = (part.height - headingHeight - footHeight) / rowsOnPage
local size = math.max(8, math.min(rowHeight * 0.55, 60))

local function place(i)
  local x = 12
  for j = 1, i - 1 do x = x + (tonumber(widths[j]) or (part.width - 24) / #columns) end
  local width = tonumber(widths[i]) or (part.width - 24) / #columns
  if i == #columns then width = part.width - 12 - x end
  return x, math.max(0, width - 12)
end

-- The first bytes of a text, up to the end of a letter; nothing of what is no text.
local function cut(text, most)
  if not utf8.len(text) then return "" end
  if #text <= most then return text end
  while most > 0 and text:byte(most + 1) & 0xC0 == 0x80 do most = most - 1 end
  return text:sub(1, most)
end

-- A field as text, whatever it is.
local function text(value)
  if type(value) == "number" then return tostring(math.tointeger(value) or value) end
  return type(value) == "string" and cut(value, 200) or ""
end

local function showPage()
  local pages = math.max(1, math.ceil(#list / rowsOnPage))
  if page > pages then page = 1 end
  local rows = part:find("rows")
  for _, row in ipairs(rows:children()) do row:remove() end
  for i = 1, rowsOnPage do
    local entry = list[(page - 1) * rowsOnPage + i]
    if not entry then break end
    local y = headingHeight + (i - 1) * rowHeight
    if i % 2 == 1 then stripe:clone(rows, { y = y, height = rowHeight - 4 }) end
    for j, field in ipairs(columns) do
      local x, width = place(j)
      local cell = pattern:clone(rows, { x = x, y = y, width = width, height = rowHeight - 4,
        size = size, shrink = size / 2, text = text(entry[field]) })
      if j == 1 then cell.color = parameters.accent end
    end
  end
  part:find("nothing").visible = #list == 0
  part:find("page").text = pages > 1 and page .. " / " .. pages or ""
end

function use(data)
  if type(data) ~= "table" then return nil, "is no list" end
  local good = {}
  for _, entry in ipairs(data) do
    if #good >= mostRows then break end
    if type(entry) == "table" then
      local any = false
      for _, field in ipairs(columns) do any = any or text(entry[field]) ~= "" end
      if any then good[#good + 1] = entry end
    end
  end
  list = good
  showPage()
  return true
end

local function read()
  local data, reason
  if source:match("%.csv$") then data, reason = files.csv(source) else data, reason = files.json(source) end
  if data then data, reason = use(data) end
  if not data then trace(source .. ": " .. tostring(reason)) end
end

for j, title in ipairs(headings) do
  local x, width = place(j)
  heading:clone(part:find("headings"), { x = x, width = width, text = title })
end
showPage()
if source ~= "" then
  read()
  files.watch(source, read)
end
timer.every(math.max(1, parameters.seconds), function()
  page = page + 1
  if #list > rowsOnPage then showPage() end
end)
