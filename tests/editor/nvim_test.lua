-- Runs ostrel-lsp inside a headless Neovim through its own LSP client, as a user's editor would: open an
-- Ostrel file, complete (the standard request and textDocument/inlineCompletion), apply the edit and
-- check the buffer, watch diagnostics come and go, format the buffer. Exits 0 when all holds; otherwise
-- prints what failed and exits 1.
local program = assert(os.getenv('OSTREL_LSP_PROGRAM'), 'OSTREL_LSP_PROGRAM is not set')
local folder = vim.fn.tempname()
vim.fn.mkdir(folder, 'p')

local function write(path, text)
  local f = assert(io.open(path, 'w'))
  f:write(text)
  f:close()
end

local function check(condition, what)
  if not condition then error(what, 2) end
end

local function lines(buf) return vim.api.nvim_buf_get_lines(buf, 0, -1, false) end

local function run()
  local reply_file = folder .. '/reply.txt'
  write(reply_file, 'Here it is:\n```ostrel\nreport.spread = report.max - report.min;\n```\n')
  local source = folder .. '/stats.ost'
  write(source, 'function report = stats(A)\n    report.max = max(A);\n    report.min = min(A);\n    \nend\n')

  vim.cmd('edit ' .. source)
  local buf = vim.api.nvim_get_current_buf()
  local id = vim.lsp.start_client({
    name = 'ostrel-lsp',
    cmd = { program, '--backend', 'reply-file', '--reply-file', reply_file, '--diagnostics-delay-ms', '20' },
    root_dir = folder,
    flags = { debounce_text_changes = 0 },
  })
  check(id, 'the client did not start')
  vim.lsp.buf_attach_client(buf, id)
  local client
  check(vim.wait(15000, function()
    client = vim.lsp.get_client_by_id(id)
    return client ~= nil and client.initialized
  end, 10), 'the server did not initialize')

  -- The standard completion request: one multi-line item whose edit goes in at the cursor.
  -- (The position is given outright: in normal mode the cursor cannot stand after a line's last blank.)
  local params = { textDocument = vim.lsp.util.make_text_document_params(buf), position = { line = 3, character = 4 } }
  local response = client.request_sync('textDocument/completion', params, 15000, buf)
  check(response and response.result, 'no completion result: ' .. vim.inspect(response))
  local item = response.result.items[1]
  check(item and item.textEdit, 'no completion item: ' .. vim.inspect(response.result))
  vim.lsp.util.apply_text_edits({ item.textEdit }, buf, 'utf-16')
  check(lines(buf)[4] == '    report.spread = report.max - report.min;',
    'the completion was not applied: ' .. vim.inspect(lines(buf)))

  -- The inline completion through the generic request call, on a fresh line (the model now says something
  -- new: a repeat of the line above would be dropped as such).
  write(reply_file, '```ostrel\nreport.range = report.max - report.min;\n```\n')
  vim.api.nvim_buf_set_lines(buf, 4, 4, false, { '    ' })
  params = { textDocument = vim.lsp.util.make_text_document_params(buf), position = { line = 4, character = 4 },
    context = { triggerKind = 1 } }
  response = client.request_sync('textDocument/inlineCompletion', params, 15000, buf)
  check(response and response.result and response.result.items[1], 'no inline completion: ' .. vim.inspect(response))
  local inline = response.result.items[1]
  vim.lsp.util.apply_text_edits({ { range = inline.range, newText = inline.insertText } }, buf, 'utf-16')
  check(lines(buf)[5] == '    report.range = report.max - report.min;',
    'the inline completion was not applied: ' .. vim.inspect(lines(buf)))

  -- Diagnostics arrive for an error and go away when it is fixed (warnings, such as an unused variable, stay).
  local function errors() return vim.diagnostic.get(buf, { severity = vim.diagnostic.severity.ERROR }) end
  vim.api.nvim_buf_set_lines(buf, 5, 5, false, { '    x = (1 + ;' })
  check(vim.wait(15000, function() return #errors() > 0 end, 10), 'no diagnostics for the error')
  local diagnostic = errors()[1]
  check(diagnostic.lnum == 5 and diagnostic.message:find('line 6', 1, true),
    'the diagnostic is not where the error is: ' .. vim.inspect(diagnostic))
  vim.api.nvim_buf_set_lines(buf, 5, 6, false, { '    x = (1 + 2);' })
  check(vim.wait(15000, function() return #errors() == 0 end, 10),
    'the error stayed after the fix: ' .. vim.inspect(errors()))

  -- Formatting the buffer with the editor's options.
  vim.bo[buf].shiftwidth = 2
  vim.bo[buf].tabstop = 2
  vim.bo[buf].expandtab = true
  vim.api.nvim_buf_set_lines(buf, 0, -1, false, { 'if a', 'x = 1;', 'if b', 'y = 2;', 'end', 'end' })
  vim.lsp.buf.formatting_sync(nil, 15000)
  local formatted = table.concat(lines(buf), '\n')
  check(formatted == 'if a\n  x = 1;\n  if b\n    y = 2;\n  end\nend', 'not formatted: ' .. formatted)

  vim.lsp.stop_client(id)
  check(vim.wait(15000, function() return vim.lsp.get_client_by_id(id) == nil end, 10), 'the server did not stop')
end

local ok, err = pcall(run)
if ok then
  vim.cmd('qa!')
else
  io.stderr:write('nvim test failed: ' .. tostring(err) .. '\n')
  vim.cmd('cquit 1')
end
