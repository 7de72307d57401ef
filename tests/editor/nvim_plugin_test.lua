-- Drives the editors/nvim plug-in in a headless Neovim as a user would: type in insert mode, pause, see
-- the ghost text, see it dismissed when typing on, and accept it with <Tab>. Exits 0 when all holds.
local program = assert(os.getenv('OSTREL_LSP_PROGRAM'), 'OSTREL_LSP_PROGRAM is not set')
local source_dir = assert(os.getenv('OSTREL_SOURCE_DIR'), 'OSTREL_SOURCE_DIR is not set')
local folder = vim.fn.tempname()
vim.fn.mkdir(folder, 'p')
local reply_file = folder .. '/reply.txt'
local f = assert(io.open(reply_file, 'w'))
f:write('```ostrel\ny = x + 1;\n```\n')
f:close()

local function finish(ok, message)
  if ok then
    vim.cmd('qa!')
  else
    io.stderr:write('nvim plug-in test failed: ' .. message .. '\n')
    vim.cmd('cquit 1')
  end
end

-- Polls `condition` every 10 ms for up to 5 s, then goes on with `next` or fails with `what`.
local function await(condition, what, next)
  local deadline = vim.loop.now() + 5000
  local function poll()
    local ok, result = pcall(condition)
    if ok and result then
      local done, err = pcall(next)
      if not done then finish(false, tostring(err)) end
    elseif vim.loop.now() > deadline then
      finish(false, what .. (ok and '' or (': ' .. tostring(result))))
    else
      vim.defer_fn(poll, 10)
    end
  end
  vim.defer_fn(poll, 10)
end

vim.opt.runtimepath:append(source_dir .. '/editors/nvim')
vim.cmd('filetype on')
vim.cmd('runtime plugin/ostrel.lua')
local ostrel = require('ostrel')
ostrel.setup({ cmd = { program, '--backend', 'reply-file', '--reply-file', reply_file }, pause_ms = 50 })

local path = folder .. '/draft.ost'
f = assert(io.open(path, 'w'))
f:write('x = 1;\n')
f:close()
vim.cmd('edit ' .. path)
local buf = vim.api.nvim_get_current_buf()
local namespace = vim.api.nvim_get_namespaces()['ostrel_ghost']
local function ghosts() return vim.api.nvim_buf_get_extmarks(buf, namespace, 0, -1, { details = true }) end
local function lines() return vim.api.nvim_buf_get_lines(buf, 0, -1, false) end

await(function() return vim.bo[buf].filetype == 'ostrel' and #vim.lsp.buf_get_clients(buf) > 0
    and vim.lsp.buf_get_clients(buf)[next(vim.lsp.buf_get_clients(buf))].initialized end,
  'the plug-in did not start the server', function()
    vim.api.nvim_win_set_cursor(0, { 1, 0 })
    vim.api.nvim_input('Go')  -- a new line below, in insert mode
    await(function() return vim.fn.mode() == 'i' and #ghosts() > 0 end, 'no ghost text after a pause', function()
      local ghost = ghosts()[1]
      assert(ghost[4].virt_text[1][1] == 'y = x + 1;', 'ghost text: ' .. vim.inspect(ghost))
      vim.api.nvim_input('q')  -- typing on dismisses it (a new one may come, after the new character)
      await(function() return #ghosts() == 0 or ghosts()[1][3] == 1 end, 'typing did not dismiss the ghost text',
        function()
          vim.api.nvim_input('<BS>')
          await(function() return #ghosts() > 0 and ghosts()[1][3] == 0 end, 'no ghost text after deleting', function()
            vim.api.nvim_input('<Tab>')
            await(function() return lines()[2] == 'y = x + 1;' end, 'accepting did not insert the completion',
              function()
                assert(#ghosts() == 0, 'the ghost text stayed after accepting')
                finish(true)
              end)
          end)
        end)
    end)
  end)
