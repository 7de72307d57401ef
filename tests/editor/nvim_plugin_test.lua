-- Drives the editors/nvim plug-in in a headless Neovim as a user would: type in insert mode, pause, see
-- the ghost text, see it dismissed when typing on, and accept it with <Tab>; what the screen shows is
-- what <Tab> writes, also with text after the cursor and in a CRLF file; with the buffer in two windows
-- the ghost text shows only in the one typed in, and goes when the other is entered; the completion menu
-- puts in a completion of several lines; an unnamed buffer is served once it has a name, and a renamed
-- one under its new name. Exits 0 when all holds.
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
    local deadline = vim.loop.now() + 15000
    while not condition() do
      assert(vim.loop.now() < deadline, what)
      sleep(10)
    end
  end
  local function ghost() return ostrel.shown(0) end
  local function lines() return vim.api.nvim_buf_get_lines(0, 0, -1, false) end
  local function served()
    local clients = vim.lsp.buf_get_clients(0)
    return next(clients) ~= nil and clients[next(clients)].initialized
  end
  -- The rows of window `win` as the screen shows them, blanks at their ends left out.
  local function screen(win)
    vim.cmd('redraw')
    local top, left = unpack(vim.api.nvim_win_get_position(win))
    local rows = {}
    for r = 1, vim.api.nvim_win_get_height(win) do
      rows[r] = {}
      for c = 1, vim.api.nvim_win_get_width(win) do rows[r][c] = vim.fn.screenstring(top + r, left + c) end
    end
    -- Headless Neovim leaves floats out of the screen it reports: they are laid over it here.
    for _, float in ipairs(vim.api.nvim_tabpage_list_wins(0)) do
      if vim.api.nvim_win_get_config(float).relative ~= '' then
        local row, col = unpack(vim.api.nvim_win_get_position(float))
        local width = vim.api.nvim_win_get_width(float)
        for i, line in ipairs(vim.api.nvim_buf_get_lines(vim.api.nvim_win_get_buf(float), 0, -1, false)) do
          for c = 1, width do
            local cells = rows[row - top + i]
            if cells then cells[col - left + c] = line:sub(c, c) == '' and ' ' or line:sub(c, c) end
          end
        end
      end
    end
    return vim.tbl_map(function(cells) return (table.concat(cells):gsub(' +$', '')) end, rows)
  end
  -- The window shows what <Tab> writes, and <Tab> writes it.
  local function accept_what_is_shown(what)
    await(function() return vim.fn.mode() == 'i' and ghost() end, what .. ': no ghost text after a pause')
    local win, tick = vim.api.nvim_get_current_win(), vim.api.nvim_buf_get_changedtick(0)
    local shown = screen(win)
    vim.api.nvim_input('<Tab>')
    await(function() return vim.api.nvim_buf_get_changedtick(0) ~= tick end, what .. ': <Tab> wrote nothing')
    ostrel.dismiss(0)  -- a next completion may come
    local written = screen(win)
    assert(vim.deep_equal(written, shown),
      what .. ': shown ' .. vim.inspect(shown) .. ', written ' .. vim.inspect(written))
    vim.api.nvim_input('<Esc>')
  end

  local path = folder .. '/draft.ost'
  write(path, 'x = 1;\n')
  vim.cmd('edit ' .. path)
  await(function() return vim.bo.filetype == 'ostrel' and served() end, 'the plug-in did not start the server')
  vim.api.nvim_input('Go')  -- a new line below, in insert mode
  await(function() return vim.fn.mode() == 'i' and ghost() end, 'no ghost text after a pause')
  assert(screen(0)[2] == 'y = x + 1;', 'ghost text: ' .. vim.inspect(screen(0)))
  vim.api.nvim_input('y')  -- typing on dismisses it (a new one may come, after the new character)
  await(function() return not ghost() or ghost().col == 1 end, 'typing did not dismiss the ghost text')
  vim.api.nvim_input('q<BS>')
  accept_what_is_shown('after deleting')
  assert(lines()[2] == 'y = x + 1;', 'accepting did not insert the completion: ' .. vim.inspect(lines()))
  vim.api.nvim_input('u')  -- undoes the completion, not what was typed before it
  await(function() return lines()[2] ~= 'y = x + 1;' end, 'undo did nothing')
  assert(lines()[2] == 'y', 'undo after accepting: ' .. vim.inspect(lines()))

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

  -- A buffer in two windows: the ghost text shows only in the one typed in (there, lines after its first
  -- cover the lines below), and goes when the user goes to the other.
  vim.cmd('split')
  local typed_in, other = vim.api.nvim_get_current_win(), vim.fn.win_getid(vim.fn.winnr('#'))
  local function plain(win)  -- the window shows the buffer's lines as they are
    local rows, top = screen(win), vim.api.nvim_win_call(win, function() return vim.fn.line('w0') end)
    local text = vim.tbl_map(function(line) return (line:gsub(' +$', '')) end,
      { unpack(lines(), top, top + #rows - 1) })
    for i = #text + 1, #rows do text[i] = '~' end
    return vim.deep_equal(rows, text)
  end
  for _, reply in ipairs({ 'y = x + 1;', 'if x > 0\n    y = 1;\nend' }) do
    write(reply_file, '```ostrel\n' .. reply .. '\n```\n')
    vim.api.nvim_input('Goq<BS>')
    await(function() return vim.fn.mode() == 'i' and ghost() end, 'no ghost text in two windows')
    assert(plain(other), 'the ghost text shows in the other window: ' .. vim.inspect(screen(other)))
    accept_what_is_shown('in two windows')
  end
  -- At the window's last rows the lines below are cut off, as in one window, not laid over the next one.
  write(reply_file, '```ostrel\nfor k = 1:2\n    x = k;\n    y = k;\nend\n```\n')
  for _, left in ipairs({ 1, 0 }) do  -- rows below the cursor's in the window
    ostrel.dismiss(0)
    vim.api.nvim_win_set_cursor(typed_in, { #lines(), 0 })
    vim.cmd('resize ' .. (vim.fn.winline() + 1 + left))
    vim.api.nvim_input('<Esc>Goq<BS>')
    await(function() return vim.fn.mode() == 'i' and ghost() end, 'no ghost text at the last rows')
    assert(plain(other), 'the ghost text runs into the other window: ' .. vim.inspect(screen(other)))
  end
  -- As a click with the mouse does, in insert mode, to the same line and column.
  vim.api.nvim_win_set_cursor(other, vim.api.nvim_win_get_cursor(typed_in))
  vim.api.nvim_set_current_win(other)
  assert(plain(typed_in), 'the ghost text stayed in the window left: ' .. vim.inspect(screen(typed_in)))
  vim.api.nvim_input('<Esc>')
  vim.cmd('only')

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

  -- A model that does not answer: the server's warning, come while typing, shows once insert mode ends
  -- ("-- INSERT --" covers it at once).
  ostrel.setup({ cmd = { program, '--backend', 'openai', '--endpoint', 'http://127.0.0.1:1' } })
  vim.fn.mkdir(folder .. '/down', 'p')  -- a folder of its own: a server of its own
  vim.cmd('edit ' .. folder .. '/down/down.ost')
  await(served, 'the file is not served')
  vim.api.nvim_input('ix')
  sleep(500)
  vim.api.nvim_input('<Esc>')
  local function bottom()
    local text = ''
    for c = 1, vim.o.columns do text = text .. vim.fn.screenstring(vim.o.lines, c) end
    return text
  end
  await(function()
    vim.cmd('redraw')
    return bottom():find('LSP[ostrel-lsp][Warning]', 1, true)
  end, 'the warning is not shown: ' .. bottom())
  assert(vim.v.errmsg == '', 'an error on the way: ' .. vim.v.errmsg)
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
