-- Reads JSON, as far as messages.json needs it. Returns the function; loading this file changes nothing.

-- Returns the value that begins at `at`, and where it ends. Texts without escapes other than of one character.
local function parse_json(text, at)
  at = text:find("%S", at)
  local first = text:sub(at, at)
  if first == "{" or first == "[" then
    local result, close, count = {}, first == "{" and "}" or "]", 0
    at = text:find("%S", at + 1)
    while text:sub(at, at) ~= close do
      local key, value
      if first == "{" then
        key, at = parse_json(text, at)
        at = text:find(":", at, true) + 1
      else
        count = count + 1
        key = count
      end
      value, at = parse_json(text, at)
      result[key] = value
      at = text:find("[,%]}]", at)
      if text:sub(at, at) == "," then at = text:find("%S", at + 1) end
    end
    return result, at + 1
  elseif first == '"' then
    local last = at
    repeat
      last = text:find('[\\"]', last + 1)
      local escaped = text:sub(last, last) == "\\"
      if escaped then last = last + 1 end
    until not escaped
    return text:sub(at + 1, last - 1):gsub("\\(.)", "%1"), last + 1
  end
  local word = text:match("^[%w%.%+%-]+", at)
  local words = { ["true"] = true, ["false"] = false }
  local value = words[word]
  if value == nil then value = tonumber(word) end
  return value, at + #word
end

return parse_json
