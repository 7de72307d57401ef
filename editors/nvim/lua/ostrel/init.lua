-- Ostrel in Neovim (0.7 or later): starts ostrel-lsp for Ostrel buffers, shows the server's inline
-- completion as ghost text while the user pauses in insert mode, accepts it with a key and dismisses it
-- as soon as the user types on or leaves insert mode. Diagnostics, formatting and the standard
-- completion come from Neovim's own LSP client.
local M = {}

M.config = {
  cmd = { 'ostrel-lsp' },
  settings = {},          -- same keys as the settings file, e.g. ['ostrel.editor.tab'] = { TabSize = 2 }
  pause_ms = 300,         -- how long the user pauses before a completion is asked for
  accept_key = '<Tab>',   -- accepts the ghost text (falls through to the key when none is shown)
  dismiss_key = '<C-]>',  -- dismisses it
  highlight = 'Comment',
}

local namespace = vim.api.nvim_create_namespace('ostrel_ghost')
local clients = {}  -- root folder -> client id
-- buffer -> { timer, request, client, shown = { item, tick, win, row, col, from, first, below } }
local state = {}

local function buffer_state(buf)
  state[buf] = state[buf] or {}
  return state[buf]
end

function M.dismiss(buf)
  buf = (buf == nil or buf == 0) and vim.api.nvim_get_current_buf() or buf
  local s = buffer_state(buf)
  if s.timer then
    s.timer:stop()
    s.timer:close()
    s.timer = nil
  end
  if s.request and s.client then s.client.cancel_request(s.request) end
  s.request = nil
  local shown = s.shown
  s.shown = nil
  vim.api.nvim_buf_clear_namespace(buf, namespace, 0, -1)
  if shown then
    if shown.below and vim.api.nvim_win_is_valid(shown.below) then vim.api.nvim_win_close(shown.below, true) end
    -- The first line is drawn at each redraw while it is shown (see below): its line is drawn anew.
    if vim.api.nvim_buf_is_valid(buf) then vim.api.nvim__buf_redraw_range(buf, shown.row, shown.row + 1) end
  end
end

-- The ghost text belongs to the window it was asked for in, but extmarks show in every window of their
-- buffer: its first line is drawn into that window alone at each redraw.
vim.api.nvim_set_decoration_provider(namespace, {
  on_win = function(_, win, buf)
    local shown = state[buf] and state[buf].shown
    if shown and shown.win == win then
      pcall(vim.api.nvim_buf_set_extmark, buf, namespace, shown.row, shown.from,
        { ephemeral = true, virt_text = shown.first, virt_text_pos = 'overlay' })
    end
    return false
  end,
})

-- Lines drawn under a drawn line take room in every window of the buffer (Neovim 0.7 draws no virtual
-- lines for one window alone): where another window shows the buffer, the further lines cover the lines
-- below in a float instead.
local function shown_elsewhere(buf, win)
  for _, other in ipairs(vim.api.nvim_tabpage_list_wins(0)) do
    if other ~= win and vim.api.nvim_win_get_buf(other) == buf then return true end
  end
  return false
end

local function float_below(win, row, lines)
  -- Lines that do not fit in the window are cut off, as virtual lines are: the float would cover the
  -- status line and the window below.
  local room = vim.api.nvim_win_get_height(win) - vim.api.nvim_win_call(win, vim.fn.winline)
  if room < 1 then return nil end
  lines = { unpack(lines, 1, room) }
  local text = {}
  for i, chunks in ipairs(lines) do
    text[i] = table.concat(vim.tbl_map(function(chunk) return chunk[1] end, chunks))
  end
  local buf = vim.api.nvim_create_buf(false, true)
  vim.bo[buf].bufhidden = 'wipe'
  vim.api.nvim_buf_set_lines(buf, 0, -1, false, text)
  for i, chunks in ipairs(lines) do
    local at = 0
    for _, chunk in ipairs(chunks) do
      vim.api.nvim_buf_add_highlight(buf, namespace, chunk[2], i - 1, at, at + #chunk[1])
      at = at + #chunk[1]
    end
  end
  local width = vim.api.nvim_win_get_width(win) - vim.fn.getwininfo(win)[1].textoff
  local float = vim.api.nvim_open_win(buf, false, {
    relative = 'win', win = win, bufpos = { row, 0 }, row = 1, col = 0, width = math.max(width, 1),
    height = #lines, style = 'minimal', focusable = false, noautocmd = true,
  })
  vim.wo[float].winhighlight = 'NormalFloat:Normal'
  return float
end

-- The server's lines may end in CRLF (it follows the file's); the buffer holds lines without ends.
local function split_lines(text)
  return vim.split((text:gsub('\r\n', '\n'):gsub('\r', '\n')), '\n', { plain = true })
end

local function byte_col(line, character, encoding)
  if encoding == 'utf-8' then return math.min(character, #line) end
  local ok, col = pcall(vim.str_byteindex, line, character, encoding ~= 'utf-32')
  return ok and col or #line
end

-- Tabs as the blanks they take from display column `from` on (virtual text shows no tab stops).
local function expand_tabs(text, from, tabstop)
  local column = from
  return (text:gsub('[^\t]*\t', function(run)
    column = column + vim.fn.strdisplaywidth(run:sub(1, -2))
    local blanks = tabstop - column % tabstop
    column = column + blanks
    return run:sub(1, -2) .. string.rep(' ', blanks)
  end))
end

-- Neovim 0.7 has no inline virtual text: the ghost overlays the rest of the cursor's line with the
-- line as accepting would leave it (the completion, then the text after the edit in the normal colour,
-- then blanks over what is left), and the completion's further lines go below.
local function show(buf, win, item, tick, row, col)
  local s = buffer_state(buf)
  local encoding = s.client and s.client.offset_encoding or 'utf-16'
  local line = vim.api.nvim_buf_get_lines(buf, row, row + 1, false)[1] or ''
  if item.range.start.line ~= row then return end
  local from = byte_col(line, item.range.start.character, encoding)
  local rest = ''
  if item.range['end'].line == row then
    rest = line:sub(math.max(byte_col(line, item.range['end'].character, encoding), col) + 1)
  end
  local text_lines = split_lines(item.insertText)
  -- What is typed already, from the edit's start to the cursor, is not shown again.
  local typed = line:sub(from + 1, col)
  if from < col and text_lines[1]:sub(1, #typed) == typed then
    text_lines[1] = text_lines[1]:sub(#typed + 1)
    from = col
  end
  local tabstop = vim.bo[buf].tabstop
  local at = vim.fn.strdisplaywidth(line:sub(1, from))
  local ghost = {}
  for i, text in ipairs(text_lines) do ghost[i] = expand_tabs(text, i == 1 and at or 0, tabstop) end
  rest = expand_tabs(rest, vim.fn.strdisplaywidth(ghost[#ghost]) + (#ghost == 1 and at or 0), tabstop)
  local first = { { ghost[1], M.config.highlight } }
  local below = {}
  for i = 2, #ghost do below[#below + 1] = { { ghost[i], M.config.highlight } } end
  local last = #below > 0 and below[#below] or first
  if rest ~= '' then last[#last + 1] = { rest, 'Normal' } end
  local covered = vim.fn.strdisplaywidth(line) - at
  local shown = vim.fn.strdisplaywidth(ghost[1]) + (#below == 0 and vim.fn.strdisplaywidth(rest) or 0)
  if covered > shown then first[#first + 1] = { string.rep(' ', covered - shown), 'Normal' } end
  s.shown = { item = item, tick = tick, win = win, row = row, col = col, from = from, first = first }
  if #below > 0 and shown_elsewhere(buf, win) then
    s.shown.below = float_below(win, row, below)
  elseif #below > 0 then
    vim.api.nvim_buf_set_extmark(buf, namespace, row, from, { virt_lines = below })
  end
  vim.api.nvim__buf_redraw_range(buf, row, row + 1)
end

local function ask(buf)
  local s = buffer_state(buf)
  local client = s.client
  if not client or vim.api.nvim_get_current_buf() ~= buf or vim.fn.mode() ~= 'i' then return end
  local win = vim.api.nvim_get_current_win()
  local cursor = vim.api.nvim_win_get_cursor(win)
  local tick = vim.api.nvim_buf_get_changedtick(buf)
  local params = vim.lsp.util.make_position_params(0, client.offset_encoding)
  params.context = { triggerKind = 2 }
  local ok, request = client.request('textDocument/inlineCompletion', params, function(err, result)
    s.request = nil
    if err or not result or not result.items or #result.items == 0 then return end
    -- A reply for a text, a window or a cursor that is gone is dropped.
    if vim.api.nvim_get_current_win() ~= win or vim.fn.mode() ~= 'i' then return end
    local now = vim.api.nvim_win_get_cursor(win)
    if vim.api.nvim_buf_get_changedtick(buf) ~= tick or now[1] ~= cursor[1] or now[2] ~= cursor[2] then return end
    show(buf, win, result.items[1], tick, cursor[1] - 1, cursor[2])
  end, buf)
  if ok then s.request = request end
end

local function schedule(buf)
  M.dismiss(buf)
  local s = buffer_state(buf)
  s.timer = vim.loop.new_timer()
  s.timer:start(M.config.pause_ms, 0, vim.schedule_wrap(function()
    if s.timer then
      s.timer:close()
      s.timer = nil
    end
    ask(buf)
  end))
end

-- Applies an edit of the server's and puts the cursor at the end of what went in.
local function apply(buf, edit)
  local s = buffer_state(buf)
  vim.lsp.util.apply_text_edits({ edit }, buf, s.client and s.client.offset_encoding or 'utf-16')
  local inserted = split_lines(edit.newText)
  local row = edit.range.start.line + #inserted
  local line = vim.api.nvim_buf_get_lines(buf, row - 1, row, false)[1] or ''
  local col = #inserted == 1 and (vim.str_byteindex(line, edit.range.start.character, true) + #inserted[1])
    or #inserted[#inserted]
  vim.api.nvim_win_set_cursor(0, { row, math.min(col, #line) })
end

-- The completion shown as ghost text in `buf`: { item, win, row, col } (the cursor's, from 0), or nil.
function M.shown(buf)
  buf = (buf == nil or buf == 0) and vim.api.nvim_get_current_buf() or buf
  local shown = buffer_state(buf).shown
  return shown and { item = shown.item, win = shown.win, row = shown.row, col = shown.col }
end

-- Applies the ghost text; returns false when none is shown.
function M.accept(buf)
  buf = (buf == nil or buf == 0) and vim.api.nvim_get_current_buf() or buf
  local s = buffer_state(buf)
  local shown = s.shown
  if not shown or vim.api.nvim_buf_get_changedtick(buf) ~= shown.tick then
    M.dismiss(buf)
    return false
  end
  local item = shown.item
  M.dismiss(buf)
  -- Its own undo step: undo takes the completion back and keeps what was typed before it.
  vim.cmd('let &undolevels = &undolevels')
  apply(buf, { range = item.range, newText = item.insertText })
  return true
end

-- Neovim's completion menu puts an item in with complete(), which cannot break lines: a completion of
-- several lines became one line with NULs in it, and one whose edit is an additional edit only its
-- label. Both are put back and the server's edit applied instead.
local function completed(buf)
  local done = vim.v.completed_item
  local data = type(done) == 'table' and type(done.user_data) == 'table' and done.user_data.nvim
  local item = type(data) == 'table' and type(data.lsp) == 'table' and data.lsp.completion_item
  if type(item) ~= 'table' or item.detail ~= 'Ostrel completion' or type(done.word) ~= 'string' then
    return
  end
  local main, extra = item.textEdit, (item.additionalTextEdits or {})[1]
  local edit
  if main and main.newText ~= '' then
    if not main.newText:find('[\r\n]') then return end
    -- Its range ends at the cursor: with the word taken out it is empty at its start.
    edit = { range = { start = main.range.start, ['end'] = main.range.start }, newText = main.newText }
  elseif extra then
    edit = extra
  else
    return
  end
  local row, col = unpack(vim.api.nvim_win_get_cursor(0))
  local put = done.word:gsub('\n', '\0')
  if col < #put or vim.api.nvim_get_current_line():sub(col - #put + 1, col) ~= put then return end
  vim.api.nvim_buf_set_text(buf, row - 1, col - #put, row - 1, col, { '' })
  apply(buf, edit)
end

-- Neovim writes a server's message below the status line, where insert mode's "-- INSERT --" covers it at
-- once: one that comes while the user types (a model that does not answer) waits for insert mode to end.
local function show_message(err, result, ctx, config)
  local default = vim.lsp.handlers['window/showMessage']
  if vim.fn.mode():sub(1, 1) ~= 'i' then return default(err, result, ctx, config) end
  vim.api.nvim_create_autocmd('InsertLeave', {
    once = true,
    callback = function() vim.schedule(function() default(err, result, ctx, config) end) end,
  })
end

local function root_of(buf)
  local name = vim.api.nvim_buf_get_name(buf)
  local found = vim.fn.finddir('.git', vim.fn.fnamemodify(name, ':p:h') .. ';')
  if found ~= '' then return vim.fn.fnamemodify(found, ':p:h:h') end
  return vim.fn.fnamemodify(name, ':p:h')
end

function M.attach(buf)
  buf = (buf == nil or buf == 0) and vim.api.nvim_get_current_buf() or buf
  -- Neovim's client gives every unnamed buffer the one URI "file://": two of them would be one document
  -- to the server, and their diagnostics would land in a buffer named "/". One is served once named.
  if vim.api.nvim_buf_get_name(buf) == '' then
    -- ":file NAME" and ":saveas" rename; ":w NAME" names it without BufFilePost, and drops its
    -- buffer-local autocommands on the way, so these are global.
    local group = vim.api.nvim_create_augroup('ostrel_unnamed_' .. buf, { clear = true })
    vim.api.nvim_create_autocmd({ 'BufFilePost', 'BufWritePost' }, {
      group = group,
      callback = function(event)
        if event.buf ~= buf or vim.api.nvim_buf_get_name(buf) == '' then return end
        vim.api.nvim_del_augroup_by_id(group)
        M.attach(buf)
      end,
    })
    return
  end
  local root = root_of(buf)
  local id = clients[root]
  if not id or not vim.lsp.get_client_by_id(id) then
    id = vim.lsp.start_client({
      name = 'ostrel-lsp',
      cmd = M.config.cmd,
      root_dir = root,
      init_options = M.config.settings,
      settings = M.config.settings,
      handlers = { ['window/showMessage'] = show_message },
    })
    clients[root] = id
  end
  if not id then return end
  vim.lsp.buf_attach_client(buf, id)
  buffer_state(buf).client = vim.lsp.get_client_by_id(id)

  local group = vim.api.nvim_create_augroup('ostrel_ghost_' .. buf, { clear = true })
  vim.api.nvim_create_autocmd({ 'TextChangedI', 'TextChangedP' }, {
    group = group, buffer = buf,
    callback = function()
      local s = buffer_state(buf)
      s.client = s.client or vim.lsp.get_client_by_id(id)
      schedule(buf)
    end,
  })
  vim.api.nvim_create_autocmd({ 'InsertLeave', 'BufLeave', 'WinLeave' }, {
    group = group, buffer = buf, callback = function() M.dismiss(buf) end,
  })
  vim.api.nvim_create_autocmd('CursorMovedI', {
    group = group, buffer = buf,
    callback = function()
      local shown = buffer_state(buf).shown
      local cursor = vim.api.nvim_win_get_cursor(0)
      if shown and (cursor[1] - 1 ~= shown.row or cursor[2] ~= shown.col) then M.dismiss(buf) end
    end,
  })
  -- Neovim 0.7 goes on sending the changes of a renamed buffer (:saveas, :file) under its new URI
  -- without opening that: the server hears of the rename as a close and an open.
  vim.api.nvim_create_autocmd('BufFilePre', {
    group = group, buffer = buf, callback = function() buffer_state(buf).uri = vim.uri_from_bufnr(buf) end,
  })
  vim.api.nvim_create_autocmd('BufFilePost', {
    group = group, buffer = buf,
    callback = function()
      local s, uri = buffer_state(buf), vim.uri_from_bufnr(buf)
      if not s.client or not s.uri or s.uri == uri then return end
      s.client.notify('textDocument/didClose', { textDocument = { uri = s.uri } })
      local ending = ({ dos = '\r\n', mac = '\r' })[vim.bo[buf].fileformat] or '\n'
      local text = table.concat(vim.api.nvim_buf_get_lines(buf, 0, -1, true), ending)
      s.client.notify('textDocument/didOpen', { textDocument = {
        uri = uri, languageId = 'ostrel', version = vim.api.nvim_buf_get_changedtick(buf),
        text = vim.bo[buf].eol and text .. ending or text,
      } })
    end,
  })
  vim.api.nvim_create_autocmd('CompleteDone', {
    group = group, buffer = buf, callback = function() completed(buf) end,
  })
  vim.keymap.set('i', M.config.accept_key, function()
    if not M.accept(buf) then
      vim.api.nvim_feedkeys(vim.api.nvim_replace_termcodes(M.config.accept_key, true, false, true), 'n', false)
    end
  end, { buffer = buf, desc = 'Accept the Ostrel completion' })
  vim.keymap.set('i', M.config.dismiss_key, function() M.dismiss(buf) end,
    { buffer = buf, desc = 'Dismiss the Ostrel completion' })
end

function M.setup(options)
  M.config = vim.tbl_deep_extend('force', M.config, options or {})
end

return M
