-- Ostrel files are *.ost; the language server starts for them (see lua/ostrel/init.lua for options).
vim.cmd([[
  augroup ostrel_filetype
    autocmd!
    autocmd BufRead,BufNewFile *.ost setfiletype ostrel
    autocmd FileType ostrel lua require('ostrel').attach(0)
  augroup END
]])
