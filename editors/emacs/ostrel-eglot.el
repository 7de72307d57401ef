;;; ostrel-eglot.el --- Ostrel files with ostrel-lsp through eglot  -*- lexical-binding: t; -*-

;; Load this file (or copy it into your init file).  Ostrel files (*.ost) open in `ostrel-mode', and
;; M-x eglot (or the hook below) starts ostrel-lsp for them: diagnostics through Flymake, formatting
;; with `eglot-format-buffer', and the completion as one multi-line candidate of `completion-at-point'.
;; eglot has no inline (ghost text) completion.

(require 'eglot)

(define-derived-mode ostrel-mode prog-mode "Ostrel"
  "Major mode for Ostrel code."
  (setq-local comment-start "% ")
  (setq-local comment-start-skip "%+\\s-*"))

(add-to-list 'auto-mode-alist '("\\.ost\\'" . ostrel-mode))

(defcustom ostrel-lsp-program "ostrel-lsp"
  "The ostrel-lsp program, with its directory when it is not on `exec-path'."
  :type 'string :group 'eglot)

(add-to-list 'eglot-server-programs
             `(ostrel-mode . (,ostrel-lsp-program "--stdio")))

;; Settings use the keys of the settings file, for example:
;; (setq-default eglot-workspace-configuration
;;               '(:ostrel.editor.tab (:TabSize 2 :IndentSize 2 :InsertSpaces t)))

(add-hook 'ostrel-mode-hook #'eglot-ensure)

(provide 'ostrel-eglot)
;;; ostrel-eglot.el ends here
