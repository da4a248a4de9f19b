complete --command quillorne --long-option help --description 'Show the help'
complete --command quillorne --long-option version --description 'Show the version'
