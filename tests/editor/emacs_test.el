;;; emacs_test.el --- ostrel-eglot.el in a batch Emacs with ostrel-lsp  -*- lexical-binding: t; -*-

;; Compiles the file without a warning and opens an Ostrel file as a user would (the mode, eglot
;; starting the server), then: completion at point applies the server's edit, an error shows in Flymake
;; and goes away when fixed, eglot-format-buffer indents the buffer and TAB a line, and the ghost text
;; appears after a pause, is dismissed by typing on and is accepted with TAB, showing the line as TAB
;; leaves it; a file indented with tabs keeps them; a renamed buffer is still served.  The model is a
;; reply file.  Exits 0 when all holds; otherwise prints what failed and exits 1.

(require 'package)
(setq package-user-dir (make-temp-file "ostrel-emacs-packages" t))
(package-initialize)  ; the system's packages (Debian's elpa-eglot)

(defvar ostrel-test-program (or (getenv "OSTREL_LSP_PROGRAM") (error "OSTREL_LSP_PROGRAM is not set")))
(defvar ostrel-test-source (or (getenv "OSTREL_SOURCE_DIR") (error "OSTREL_SOURCE_DIR is not set")))
(defvar ostrel-test-folder (file-name-as-directory (make-temp-file "ostrel-emacs" t)))
(add-hook 'kill-emacs-hook (lambda () (delete-directory ostrel-test-folder t)
                              (delete-directory package-user-dir t)))

;; Whatever happens, the test ends.
(run-with-timer 40 nil (lambda () (message "emacs test failed: it took too long") (kill-emacs 1)))

;; The file compiles without a warning, and the compiled file is what the test runs.
(let ((copy (expand-file-name "ostrel-eglot.el" ostrel-test-folder))
      (byte-compile-error-on-warn t))
  (copy-file (expand-file-name "editors/emacs/ostrel-eglot.el" ostrel-test-source) copy)
  (unless (byte-compile-file copy)
    (message "emacs test failed: editors/emacs/ostrel-eglot.el does not compile cleanly")
    (kill-emacs 1))
  (load (concat copy "c") nil t))

(defun ostrel-test-write (name text)
  (let ((path (expand-file-name name ostrel-test-folder)))
    (with-temp-file path (insert text))
    path))

(defun ostrel-test-wait (what condition)
  "Wait up to 5 s for CONDITION, serving the server's messages and timers; fail with WHAT."
  (let ((deadline (+ (float-time) 5)))
    (while (and (not (funcall condition)) (< (float-time) deadline))
      (accept-process-output nil 0.02))
    (unless (funcall condition) (error "%s" what))))

(defun ostrel-test-line (n)
  (save-excursion (goto-char (point-min)) (forward-line (1- n))
                  (buffer-substring-no-properties (line-beginning-position) (line-end-position))))

(defun ostrel-test-check (condition what &rest args)
  (unless condition (error "%s" (apply #'format what args))))

(defun ostrel-test-errors ()
  (seq-filter (lambda (d) (eq (flymake-diagnostic-type d) 'eglot-error)) (flymake-diagnostics)))

(defun ostrel-test-ghost-text ()
  (and ostrel--ghost (substring-no-properties
                      (overlay-get (plist-get ostrel--ghost :overlay) 'after-string))))

;; The buffer's lines as the screen shows them with the ghost text, and the buffer's lines; blanks
;; at their ends are not seen.
(defun ostrel-test-screen (&optional ghost)
  (let ((overlay (and ghost (plist-get ostrel--ghost :overlay))))
    (mapcar (lambda (line) (string-trim-right line " +"))
            (split-string (if (not overlay) (buffer-substring-no-properties (point-min) (point-max))
                            (concat (buffer-substring-no-properties (point-min) (overlay-start overlay))
                                    (ostrel-test-ghost-text)
                                    (if (overlay-get overlay 'invisible) ""
                                      (buffer-substring-no-properties (overlay-start overlay) (overlay-end overlay)))
                                    (buffer-substring-no-properties (overlay-end overlay) (point-max))))
                          "\n"))))

(defun ostrel-test-run ()
  (let ((reply (ostrel-test-write "reply.txt" ""))
        (settings (ostrel-test-write "settings.json" "{}\n"))
        (source (ostrel-test-write "stats.ost" "function report = stats(A)\n    report.max = max(A);\n    report.min = min(A);\n    \nend\n")))
    (setq ostrel-lsp-program ostrel-test-program
          ostrel-lsp-arguments (list "--backend" "reply-file" "--reply-file" reply "--settings" settings
                                     "--diagnostics-delay-ms" "20" "--debounce-ms" "0")
          ostrel-ghost-delay 0.05
          eglot-send-changes-idle-time 0.05)
    (find-file source)
    (ostrel-test-check (eq major-mode 'ostrel-mode) "the file opened in %s" major-mode)
    ;; eglot-ensure connects when the command that opened the file ends.
    (run-hooks 'post-command-hook)
    (ostrel-test-wait "eglot did not start the server"
                      (lambda () (and (bound-and-true-p eglot--managed-mode) (eglot-current-server))))
    (flymake-start)

    ;; Completion at point applies the server's whole edit, on a blank line and inside a word
    ;; (line 4 of the file, written anew for each case).
    (dolist (case '(("    " "report.spread = report.max - report.min;")
                    ("    report.ra" "report.range = report.max - report.min;")))
      (pcase-let ((`(,typed ,completion) case))
        (ostrel-test-write "reply.txt" (format "Here it is:\n```ostrel\n%s\n```\n" completion))
        (goto-char (point-min)) (forward-line 3)
        (delete-region (point) (line-end-position))
        (insert typed)
        (completion-at-point)
        (ostrel-test-check (equal (ostrel-test-line 4) (concat "    " completion))
                           "completion-at-point after %S: %S" typed (buffer-string))))

    ;; An error shows in Flymake on its line and goes away when it is fixed.
    (goto-char (point-max)) (forward-line -1)
    (insert "    x = (1 + ;\n")
    (eglot--signal-textDocument/didChange)
    (ostrel-test-wait "no Flymake error for the broken line" (lambda () (ostrel-test-errors)))
    (let ((error (car (ostrel-test-errors))))
      (ostrel-test-check (= (line-number-at-pos (flymake-diagnostic-beg error)) 5)
                         "the error is not on line 5: %S" (flymake-diagnostic-text error)))
    (goto-char (point-min)) (forward-line 4)
    (delete-region (point) (line-end-position))
    (insert "    x = (1 + 2);")
    (eglot--signal-textDocument/didChange)
    (ostrel-test-wait "the error stayed after the fix" (lambda () (null (ostrel-test-errors))))

    ;; Formatting with the buffer's tab width as the indentation.
    (setq-local tab-width 2)
    (erase-buffer)
    (insert "if a\nx = 1;\nif b\ny = 2;\nend\nend\n")
    (eglot-format-buffer)
    (ostrel-test-check (equal (buffer-string) "if a\n  x = 1;\n  if b\n    y = 2;\n  end\nend\n")
                       "not formatted: %S" (buffer-string))

    ;; TAB indents a line as the formatter does.
    (erase-buffer)
    (insert "if a\nx = 1;\nend\n")
    (goto-char (point-min)) (forward-line 1)
    (execute-kbd-macro (kbd "TAB"))
    (ostrel-test-check (and (equal (ostrel-test-line 2) "  x = 1;") (= (current-column) 2))
                       "TAB did not indent the line: %S" (buffer-string))
    (erase-buffer)
    (insert "if a\n  x = 1;\n  if b\n    y = 2;\n  end\nend\n")

    ;; Ghost text: a pause after typing shows it, typing on dismisses it, TAB accepts it.
    (ostrel-test-write "reply.txt" "```ostrel\nz = x + y;\n```\n")
    (goto-char (point-max))
    (execute-kbd-macro "q")
    (ostrel-test-wait "no ghost text after a pause" (lambda () ostrel--ghost))
    (ostrel-test-check (equal (ostrel-test-ghost-text) "z = x + y;") "ghost text: %S" (ostrel-test-ghost-text))
    (execute-kbd-macro (kbd "DEL"))
    (ostrel-test-check (null ostrel--ghost) "typing did not dismiss the ghost text")
    (ostrel-test-wait "no ghost text after deleting" (lambda () ostrel--ghost))
    (execute-kbd-macro (kbd "TAB"))
    (ostrel-test-check (equal (ostrel-test-line 7) "z = x + y;") "TAB did not accept: %S" (buffer-string))
    (ostrel-test-check (and (null ostrel--ghost) (= (point) (line-end-position)))
                       "the ghost text stayed, or point is not after the completion")

    ;; What the ghost text shows is what TAB writes, with the cursor before it (a terminal shows no
    ;; cursor on a line break), in the selected window only of the two that show the buffer: an edit
    ;; that replaces the text after point, one that replaces typed text it writes otherwise (the line's
    ;; indentation), one that starts a line at the end of a file without a final newline.
    (split-window)
    (dolist (case '(("y = 1;\nx = zeros(n, 1)\n" 2 7 "x = zeros(n, 1);")
                    ("function r = f(x)\n    if x > 0\n        r = 1;\n        els\n" 4 11 "else")
                    ("x = 1;" 1 6 "y = 2;")))
      (pcase-let ((`(,text ,line ,column ,reply) case))
        (ostrel-test-write "reply.txt" (format "```ostrel\n%s\n```\n" reply))
        (erase-buffer)
        (insert text)
        (goto-char (point-min)) (forward-line (1- line)) (forward-char column)
        (execute-kbd-macro "q") (execute-kbd-macro (kbd "DEL"))
        (ostrel-test-wait (format "no ghost text in %S" text) (lambda () ostrel--ghost))
        (let* ((shown (ostrel-test-screen t))
               (overlay (plist-get ostrel--ghost :overlay))
               (ghost (overlay-get overlay 'after-string))
               (cursor (text-property-any 0 (length ghost) 'cursor t ghost)))
          (ostrel-test-check (and cursor (not (memq (aref ghost cursor) '(?\n ?\r))))
                             "the cursor is not before the ghost text %S" ghost)
          (ostrel-test-check (eq (overlay-get overlay 'window) (selected-window))
                             "the ghost text shows in every window of the buffer")
          (execute-kbd-macro (kbd "TAB"))
          (ostrel-test-check (equal shown (ostrel-test-screen)) "in %S, shown %S, TAB wrote %S"
                             text shown (buffer-string)))))
    (delete-other-windows)

    ;; A file indented with tabs keeps them when TAB indents a line.
    (set-buffer-modified-p nil)
    (find-file (ostrel-test-write "tabs.ost" "if a\n\tx = 1;\n\tif b\ny = 2;\n\tend\nend\n"))
    (run-hooks 'post-command-hook)
    (ostrel-test-wait "eglot does not manage the second file" (lambda () (bound-and-true-p eglot--managed-mode)))
    (goto-char (point-min)) (forward-line 3)
    (execute-kbd-macro (kbd "TAB"))
    (ostrel-test-check (equal (ostrel-test-line 4) "\t\ty = 2;") "TAB in a file of tabs: %S" (buffer-string))

    ;; Saved under another name, the buffer is still served.
    (write-file (expand-file-name "renamed.ost" ostrel-test-folder))
    (ostrel-test-write "reply.txt" "```ostrel\nz = 3;\n```\n")
    (goto-char (point-max))
    (execute-kbd-macro "q") (execute-kbd-macro (kbd "DEL"))
    (ostrel-test-wait "no ghost text in the renamed buffer" (lambda () ostrel--ghost))

    (set-buffer-modified-p nil)
    (eglot-shutdown (eglot-current-server))))

(condition-case err
    (progn (ostrel-test-run) (kill-emacs 0))
  (error (message "emacs test failed: %s" (error-message-string err))
         (kill-emacs 1)))
;;; emacs_test.el ends here
