;;; ostrel-eglot.el --- Ostrel files with ostrel-lsp through eglot  -*- lexical-binding: t; -*-

;; Tested with Emacs 28.2 and eglot 1.9 (it uses a few of eglot's internal functions, which later
;; versions may rename).  Load this file: Ostrel files (*.ost) open in `ostrel-mode' and eglot starts
;; ostrel-lsp for them.  Errors and warnings show in Flymake, `eglot-format-buffer' indents the file and
;; TAB a line, `completion-at-point' (M-TAB) offers the server's completion as one candidate and applies
;; its whole edit (it may span lines), and while you pause after typing the completion shows as ghost
;; text: TAB accepts it, C-g or any other command dismisses it.

(require 'eglot)
(require 'subr-x)

(defgroup ostrel nil
  "Ostrel code with the ostrel-lsp language server."
  :group 'languages)

(defcustom ostrel-lsp-program "ostrel-lsp"
  "The ostrel-lsp program, with its directory when it is not on `exec-path'."
  :type 'string)

(defcustom ostrel-lsp-arguments nil
  "Further arguments for ostrel-lsp.
For example (\"--backend\" \"openai\" \"--endpoint\" URL)."
  :type '(repeat string))

(defcustom ostrel-indent-offset 4
  "Columns per indentation level; eglot sends it to the formatter as the tab size."
  :type 'integer)

(defcustom ostrel-ghost-delay 0.3
  "Seconds of pause after typing before the ghost text is asked for.
nil turns the ghost text off."
  :type '(choice (const :tag "Off" nil) number))

(defface ostrel-ghost-text '((t :inherit shadow))
  "Face of the completion shown as ghost text.")

;;; The major mode

(defvar ostrel-mode-syntax-table
  (let ((table (make-syntax-table)))
    (modify-syntax-entry ?% "<" table)
    (modify-syntax-entry ?\n ">" table)
    (modify-syntax-entry ?\" "\"" table)
    ;; A quote opens a char vector or transposes; as punctuation it never runs a string past the line.
    (modify-syntax-entry ?' "." table)
    (modify-syntax-entry ?_ "_" table)
    (dolist (char '(?+ ?- ?* ?/ ?\\ ?^ ?= ?< ?> ?& ?| ?~ ?@ ?: ?,  ?\; ?.))
      (modify-syntax-entry char "." table))
    table)
  "Syntax table of `ostrel-mode'.")

(defconst ostrel-font-lock-keywords
  `((,(regexp-opt '("break" "case" "catch" "classdef" "continue" "else" "elseif" "end" "for" "function"
                    "global" "if" "otherwise" "parfor" "persistent" "return" "spmd" "switch" "try" "while")
                  'symbols)
     . font-lock-keyword-face)
    ("\\_<function\\_>[^=\n]*=\\s-*\\(\\sw+\\)" 1 font-lock-function-name-face)
    ("\\_<function\\s-+\\(\\sw+\\)\\s-*\\((\\|$\\)" 1 font-lock-function-name-face))
  "Highlighting of `ostrel-mode': reserved words and defined function names.")

(defun ostrel-indent-line ()
  "Indent the current line as the server's formatter does.
Without a server, indent it like the line above."
  (if (not (and (bound-and-true-p eglot--managed-mode) (eglot-current-server)))
      (indent-relative)
    (let ((from-end (- (point-max) (point)))
          (in-text (> (current-column) (current-indentation))))
      (eglot-format (line-beginning-position) (line-end-position))
      ;; Point keeps its place in the line's text, or goes to the indentation.
      (if in-text
          (goto-char (- (point-max) from-end))
        (back-to-indentation)))))

(defun ostrel--indented-with-tabs-p ()
  "Whether more of the buffer's indented lines start with a tab than with a blank."
  (save-excursion
    (goto-char (point-min))
    (let ((tabs 0) (blanks 0))
      (while (re-search-forward "^\\([\t ]\\)[\t ]*[^\t \n]" nil t)
        (if (equal (match-string 1) "\t") (setq tabs (1+ tabs)) (setq blanks (1+ blanks))))
      (> tabs blanks))))

;;;###autoload
(define-derived-mode ostrel-mode prog-mode "Ostrel"
  "Major mode for Ostrel code, served by ostrel-lsp through eglot."
  (setq-local comment-start "% ")
  (setq-local comment-start-skip "%+\\s-*")
  (setq-local font-lock-defaults '(ostrel-font-lock-keywords))
  ;; eglot's formatting request sends `tab-width' as the tab size, which the server also indents by.
  (setq-local tab-width ostrel-indent-offset)
  ;; A file indented with tabs keeps them: TAB and formatting would otherwise turn its lines to spaces.
  (setq-local indent-tabs-mode (ostrel--indented-with-tabs-p))
  (setq-local indent-line-function #'ostrel-indent-line))

;;;###autoload
(add-to-list 'auto-mode-alist '("\\.ost\\'" . ostrel-mode))

(defun ostrel--server-command (&optional _interactive)
  "The command that starts ostrel-lsp, read when eglot starts it."
  (append (list ostrel-lsp-program "--stdio") ostrel-lsp-arguments))

(add-to-list 'eglot-server-programs '(ostrel-mode . ostrel--server-command))

;; Settings use the keys of the settings file, for example:
;; (setq-default eglot-workspace-configuration
;;               '(:ostrel.editor.tab (:TabSize 2 :IndentSize 2 :InsertSpaces t)))

;;; Completion at point

(defun ostrel--apply-edit (range text)
  "Replace RANGE (a protocol range) by TEXT and leave point after TEXT."
  (pcase-let ((`(,beg . ,end) (eglot--range-region range)))
    (goto-char beg)
    (delete-region beg end)
    (insert text)))

(defun ostrel--item-edit (item)
  "The (RANGE . TEXT) of a completion ITEM: its one non-empty edit.
A multi-line edit comes as an additional edit."
  (let ((edits (cons (plist-get item :textEdit) (append (plist-get item :additionalTextEdits) nil))))
    (when-let ((edit (seq-find (lambda (e) (and e (not (string-empty-p (plist-get e :newText))))) edits)))
      (cons (plist-get edit :range) (plist-get edit :newText)))))

(defun ostrel-completion-at-point ()
  "Offer the server's completion at point as one candidate.
Choosing it applies the server's edit."
  (when-let* ((server (eglot-current-server))
              (result (progn (eglot--signal-textDocument/didChange)  ; the server must see this text
                             (jsonrpc-request server :textDocument/completion
                                       (eglot--CompletionParams)
                                       :deferred :textDocument/completion :cancel-on-input t)))
              (item (and (listp result) (car (append (plist-get result :items) nil))))
              (edit (ostrel--item-edit item)))
    (let ((label (plist-get item :label))
          (start (point)))
      (list start start (list label)
            :exclusive 'no
            :annotation-function (lambda (_) " Ostrel completion")
            :exit-function
            (lambda (_candidate status)
              (when (memq status '(finished exact sole))
                ;; The candidate went in at START; the edit is in the positions of the text before it.
                (delete-region start (point))
                (ostrel--apply-edit (car edit) (cdr edit))))))))

;;; Ghost text

(defvar-local ostrel--ghost nil
  "The shown ghost text: a plist (:overlay :range :text :tick), or nil.")
(defvar-local ostrel--ghost-timer nil)

(defvar ostrel-ghost-map
  (let ((map (make-sparse-keymap)))
    (define-key map (kbd "TAB") #'ostrel-ghost-accept)
    (define-key map (kbd "<tab>") #'ostrel-ghost-accept)
    (define-key map (kbd "C-g") #'ostrel-ghost-dismiss)
    map)
  "Keys active while ghost text is shown.")

;; The map is active exactly while `ostrel--ghost' is non-nil.
(add-to-list 'minor-mode-map-alist (cons 'ostrel--ghost ostrel-ghost-map))

(defun ostrel-ghost-dismiss ()
  "Remove the ghost text and forget any pending request for it."
  (interactive)
  (when (timerp ostrel--ghost-timer) (cancel-timer ostrel--ghost-timer))
  (setq ostrel--ghost-timer nil)
  (when ostrel--ghost (delete-overlay (plist-get ostrel--ghost :overlay)))
  (setq ostrel--ghost nil))

(defun ostrel--ghost-show (item)
  "Show ITEM, an inline completion item, as ghost text at point."
  (let* ((range (plist-get item :range))
         (text (plist-get item :insertText))
         (region (eglot--range-region range))
         (typed (buffer-substring-no-properties (car region) (point)))
         ;; What is typed and written out again stays in view; the rest of what the edit replaces
         ;; (typed text it writes otherwise, text after point) hides behind the ghost text, so that
         ;; the line reads as TAB leaves it.
         (same (compare-strings typed nil nil text nil nil))
         (kept (if (eq same t) (length typed) (1- (abs same))))
         (rest (substring text kept)))
    (unless (string-empty-p rest)
      ;; A terminal cannot show the cursor on a line break: it would stand after the ghost text.
      (when (memq (aref rest 0) '(?\n ?\r)) (setq rest (concat " " rest)))
      (setq rest (propertize rest 'face 'ostrel-ghost-text))
      (put-text-property 0 1 'cursor t rest)  ; the cursor stays before the ghost text
      (let ((overlay (make-overlay (+ (car region) kept) (max (point) (cdr region)) nil t)))
        (overlay-put overlay 'window (selected-window))  ; not in other windows of the buffer
        (overlay-put overlay 'invisible t)
        (overlay-put overlay 'after-string rest)
        (setq ostrel--ghost (list :overlay overlay :range range :text text
                                  :tick (buffer-chars-modified-tick)))))))

(defun ostrel-ghost-complete (&optional automatic)
  "Ask the server for an inline completion at point and show it as ghost text.
AUTOMATIC tells the server the user paused rather than asked."
  (interactive)
  (ostrel-ghost-dismiss)
  (when-let ((server (eglot-current-server)))
    (let ((buffer (current-buffer))
          (tick (buffer-chars-modified-tick))
          (at (point)))
      ;; eglot sends changes when idle, which may be after this pause: the server must see this text.
      (eglot--signal-textDocument/didChange)
      (jsonrpc-async-request
       server :textDocument/inlineCompletion
       (append (eglot--TextDocumentPositionParams) `(:context (:triggerKind ,(if automatic 2 1))))
       :success-fn
       (lambda (result)
         (eglot--when-live-buffer buffer
           (let ((item (car (append (plist-get result :items) nil))))
             ;; A reply for a text or a cursor that is gone is dropped.
             (when (and item (= tick (buffer-chars-modified-tick)) (= at (point)) (not ostrel--ghost))
               (ostrel--ghost-show item)))))
       :error-fn #'ignore
       :timeout-fn #'ignore))))

(defun ostrel-ghost-accept ()
  "Apply the completion shown as ghost text."
  (interactive)
  (let ((ghost ostrel--ghost))
    (ostrel-ghost-dismiss)
    (when (and ghost (= (plist-get ghost :tick) (buffer-chars-modified-tick)))
      (ostrel--apply-edit (plist-get ghost :range) (plist-get ghost :text)))))

(defun ostrel--ghost-before-command ()
  (unless (memq this-command '(ostrel-ghost-accept ostrel-ghost-complete))
    (ostrel-ghost-dismiss)))

(defun ostrel--ghost-after-change (_beg end _length)
  ;; Typing ends its change at point; a change made by formatting or a process does not ask for more.
  (when (and ostrel-ghost-delay this-command (= end (point)) (not undo-in-progress))
    (when (timerp ostrel--ghost-timer) (cancel-timer ostrel--ghost-timer))
    (let ((buffer (current-buffer)))
      (setq ostrel--ghost-timer
            (run-with-timer ostrel-ghost-delay nil
                            (lambda ()
                              (eglot--when-live-buffer buffer
                                (setq ostrel--ghost-timer nil)
                                (when (eq buffer (window-buffer (selected-window)))
                                  (ostrel-ghost-complete t)))))))))

;;; Wiring

(defvar-local ostrel--uri nil
  "The URI the server knows the buffer by.")

(defun ostrel--renamed ()
  "Tell the server of the buffer's new file name as a close and an open.
eglot 1.9 goes on under the new name, which the server never saw opened."
  (when-let ((server (and ostrel--uri (eglot-current-server))))
    (let ((uri (plist-get (eglot--TextDocumentIdentifier) :uri)))
      (unless (equal uri ostrel--uri)
        (jsonrpc-notify server :textDocument/didClose `(:textDocument (:uri ,ostrel--uri)))
        (eglot--signal-textDocument/didOpen)
        (setq ostrel--uri uri)))))

(defun ostrel--managed ()
  "Set up completion and ghost text in an Ostrel buffer eglot manages.
Undone when eglot stops managing it."
  (when (derived-mode-p 'ostrel-mode)
    (cond ((bound-and-true-p eglot--managed-mode)
           (add-hook 'completion-at-point-functions #'ostrel-completion-at-point nil t)
           (add-hook 'pre-command-hook #'ostrel--ghost-before-command nil t)
           (add-hook 'after-change-functions #'ostrel--ghost-after-change nil t)
           (setq ostrel--uri (plist-get (eglot--TextDocumentIdentifier) :uri))
           (add-hook 'after-set-visited-file-name-hook #'ostrel--renamed nil t))
          (t
           (ostrel-ghost-dismiss)
           (remove-hook 'completion-at-point-functions #'ostrel-completion-at-point t)
           (remove-hook 'pre-command-hook #'ostrel--ghost-before-command t)
           (remove-hook 'after-change-functions #'ostrel--ghost-after-change t)
           (remove-hook 'after-set-visited-file-name-hook #'ostrel--renamed t)
           (setq ostrel--uri nil)))))

(add-hook 'eglot-managed-mode-hook #'ostrel--managed)
(add-hook 'ostrel-mode-hook #'eglot-ensure)

(provide 'ostrel-eglot)
;;; ostrel-eglot.el ends here
