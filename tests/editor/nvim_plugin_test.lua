-- Drives the editors/nvim plug-in in a headless Neovim as a user would: type in insert mode, pause, see
-- the ghost text, see it dismissed when typing on, and accept it with <Tab>; what the ghost text shows is
-- what <Tab> writes, also with text after the cursor and in a CRLF file; the completion menu puts in a
-- completion of several lines; an unnamed buffer is served once it has a name, and a renamed one under
-- its new name. Exits 0 when all holds.
local program = assert(os.getenv('OSTREL_LSP_PROGRAM'), 'OSTREL_LSP_PROGRAM is not set')
local source_dir = assert(os.getenv('OSTREL_SOURCE_DIR'), 'OSTREL_SOURCE_DIR is not set')
local folder = vim.fn.tempname()
vim.fn.mkdir(folder, 'p')
local reply_file = folder .. '/reply.txt'
local function write(path, text)
  local f = assert(io.open(path, 'wb'))
  f:write(text)
  f:close()
end
write(reply_file, '```ostrel\ny = x + 1;\n```\n')

vim.opt.runtimepath:append(source_dir .. '/editors/nvim')
vim.cmd('filetype on')
vim.cmd('runtime plugin/ostrel.lua')
local ostrel = require('ostrel')
ostrel.setup({ cmd = { program, '--backend', 'reply-file', '--reply-file', reply_file }, pause_ms = 50 })
local namespace = vim.api.nvim_get_namespaces()['ostrel_ghost']

-- The steps run in a coroutine that yields to Neovim's loop while it waits, so that typed keys are read.
local steps, failure
local function resume()
  local resumed, err = coroutine.resume(steps)
  if not resumed then failure = err end
end
steps = coroutine.create(function()
  local function sleep(ms)
    vim.defer_fn(resume, ms)
    coroutine.yield()
  end
  local function await(condition, what)
    local deadline = vim.loop.now() + 5000
    while not condition() do
      assert(vim.loop.now() < deadline, what)
      sleep(10)
    end
  end
  local function ghosts() return vim.api.nvim_buf_get_extmarks(0, namespace, 0, -1, { details = true }) end
  local function lines() return vim.api.nvim_buf_get_lines(0, 0, -1, false) end
  local function served()
    local clients = vim.lsp.buf_get_clients(0)
    return next(clients) ~= nil and clients[next(clients)].initialized
  end
  -- The lines the ghost text shows, the first one from its column on, as the screen has them.
  local function shown()
    local ghost = ghosts()[1]
    local text = { '' }
    for _, chunk in ipairs(ghost[4].virt_text) do text[1] = text[1] .. chunk[1] end
    for _, line in ipairs(ghost[4].virt_lines or {}) do
      text[#text + 1] = table.concat(vim.tbl_map(function(chunk) return chunk[1] end, line))
    end
    text[1] = text[1]:gsub(' +$', '')
    return ghost[2], ghost[3], text
  end
  local function accept_what_is_shown(what)
    await(function() return vim.fn.mode() == 'i' and #ghosts() > 0 end, what .. ': no ghost text after a pause')
    local row, col, text = shown()
    vim.api.nvim_input('<Tab>')
    await(function() return #ghosts() == 0 and lines()[row + 1] ~= nil end, what .. ': the ghost text stayed')
    sleep(50)
    local written = vim.api.nvim_buf_get_lines(0, row, row + #text, false)
    written[1] = written[1]:sub(col + 1)
    assert(vim.deep_equal(written, text),
      what .. ': shown ' .. vim.inspect(text) .. ', written ' .. vim.inspect(written))
    vim.api.nvim_input('<Esc>')
  end

  local path = folder .. '/draft.ost'
  write(path, 'x = 1;\n')
  vim.cmd('edit ' .. path)
  await(function() return vim.bo.filetype == 'ostrel' and served() end, 'the plug-in did not start the server')
  vim.api.nvim_input('Go')  -- a new line below, in insert mode
  await(function() return vim.fn.mode() == 'i' and #ghosts() > 0 end, 'no ghost text after a pause')
  assert(ghosts()[1][4].virt_text[1][1] == 'y = x + 1;', 'ghost text: ' .. vim.inspect(ghosts()))
  vim.api.nvim_input('q')  -- typing on dismisses it (a new one may come, after the new character)
  await(function() return #ghosts() == 0 or ghosts()[1][3] == 1 end, 'typing did not dismiss the ghost text')
  vim.api.nvim_input('<BS>')
  accept_what_is_shown('after deleting')
  assert(lines()[2] == 'y = x + 1;', 'accepting did not insert the completion: ' .. vim.inspect(lines()))

  -- Text after the cursor stays visible behind the completion.
  vim.api.nvim_buf_set_lines(0, 1, 2, false, { 'y = ;' })
  vim.api.nvim_win_set_cursor(0, { 2, 3 })
  vim.api.nvim_input('aq<BS>')
  accept_what_is_shown('inside a line')

  -- A CRLF file: its lines end in CR LF on the server's side only.
  write(reply_file, '```ostrel\nif x > 0\n    y = 1;\nend\n```\n')
  path = folder .. '/crlf.ost'
  write(path, 'x = 1;\r\n')
  vim.cmd('edit ' .. path)
  await(served, 'the CRLF file is not served')
  vim.api.nvim_input('Goq<BS>')
  accept_what_is_shown('a CRLF file')

  -- The completion menu (Neovim's omnifunc) puts in the lines of a completion of several lines.
  write(reply_file, '```ostrel\nfor k = 1:3\n    x = x + k;\nend\n```\n')
  vim.bo.omnifunc = 'v:lua.vim.lsp.omnifunc'
  vim.api.nvim_input('Go<C-x><C-o>')
  await(function() return (lines()[5] or '') ~= '' end, 'the menu put in nothing')
  vim.api.nvim_input('<Esc>')  -- the completion ends with the next key
  await(function() return vim.fn.mode() == 'n' end, 'insert mode did not end')
  assert(vim.deep_equal({ unpack(lines(), 5) }, { 'for k = 1:3', '    x = x + k;', 'end' }),
    vim.inspect(lines()))

  -- An unnamed buffer would share its URI with every other one: served only once it has a name.
  vim.cmd('enew')
  vim.bo.filetype = 'ostrel'
  vim.api.nvim_buf_set_lines(0, 0, -1, false, { 'x = 1;' })
  sleep(200)
  assert(not served(), 'an unnamed buffer was served')
  vim.cmd('silent write ' .. folder .. '/named.ost')
  await(served, 'the buffer was not served after it was named')
  -- Renamed, it is still served under its new name.
  vim.cmd('silent saveas ' .. folder .. '/renamed.ost')
  vim.api.nvim_input('Goq<BS>')
  accept_what_is_shown('a renamed buffer')
end)

resume()
local function finish()
  if coroutine.status(steps) ~= 'dead' then return vim.defer_fn(finish, 20) end
  if not failure then
    vim.cmd('qa!')
  else
    io.stderr:write('nvim plug-in test failed: ' .. tostring(failure) .. '\n')
    vim.cmd('cquit 1')
  end
end
vim.defer_fn(finish, 20)
