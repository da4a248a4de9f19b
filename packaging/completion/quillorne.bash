complete -o default -W '--help --version' quillorne
